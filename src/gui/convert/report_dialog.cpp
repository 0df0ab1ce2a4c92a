#include "gui/convert/report_dialog.h"

#include "core/app/failure_report_sender.h"
#include "gui/app/messages.h"
#include "gui/ui/icon_store.h"

#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRandomGenerator>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <QVersionNumber>

namespace sonivert {

ReportDialog::ReportDialog(FailureReport &report, const FailureReportDisplay &display,
    const QString &settingsKey, QWidget *mainWindow)
    : QDialog(mainWindow)
    , m_report(report)
    , m_settingsKey(settingsKey)
    , m_mainWindow(mainWindow)
{
    setObjectName(QStringLiteral("frmReportList"));
    setWindowTitle(display.title);
    setAttribute(Qt::WA_DeleteOnClose);

    auto *icon = new QPushButton(this);
    icon->setObjectName(QStringLiteral("Cmd_Icon"));
    icon->setFlat(true);
    icon->setFocusPolicy(Qt::NoFocus);
    icon->setIcon(IconStore::get(display.imageId));
    icon->setIconSize(QSize(48, 48));
    icon->setFixedSize(56, 56);

    m_headline = new QLabel(display.message, this);
    m_headline->setObjectName(QStringLiteral("lbl_Msg"));
    m_headline->setWordWrap(true);
    QFont font = m_headline->font();
    font.setPointSize(display.messagePointSize);
    font.setBold(true);
    m_headline->setFont(font);

    m_list = new QTreeWidget(this);
    m_list->setObjectName(QStringLiteral("View_ListBox"));
    m_list->setRootIsDecorated(false);
    m_list->setHeaderLabels({ QStringLiteral("File"), QStringLiteral("Reason") });
    m_list->header()->setStretchLastSection(true);
    for (const FailureEntry &entry : report.entries()) {
        auto *item = new QTreeWidgetItem(m_list, { entry.name, entry.message });
        item->setToolTip(0, entry.name);
        item->setToolTip(1, entry.message);
    }
    m_list->resizeColumnToContents(0);
    m_list->setColumnWidth(0, qMin(m_list->columnWidth(0) + 16, 260));

    m_details = new QPlainTextEdit(this);
    m_details->setObjectName(QStringLiteral("Txt_Details"));
    m_details->setReadOnly(true);
    m_details->setLineWrapMode(QPlainTextEdit::NoWrap);
    QFont mono = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    m_details->setFont(mono);
    m_details->setMaximumHeight(160);
    m_details->hide();
    m_copy = new QPushButton(QStringLiteral("Copy details"), this);
    m_copy->setObjectName(QStringLiteral("Cmd_CopyDetails"));
    m_copy->hide();

    m_panels[0] = new QPushButton(QStringLiteral("OK"), this);
    m_panels[1] = new QPushButton(QStringLiteral("Send report to Corvallo"), this);
    for (int i = 0; i < 2; ++i)
        m_panels[i]->setObjectName(QStringLiteral("Cmd_Panels_%1").arg(i));
    m_panels[0]->setDefault(true);
    if (reportEndpoint(m_settingsKey).isEmpty()) {
        m_panels[1]->setEnabled(false);
        m_panels[1]->setToolTip(
            QStringLiteral("No report address is configured, so the report cannot be sent."));
    }

    auto *top = new QHBoxLayout;
    top->addWidget(icon, 0, Qt::AlignTop);
    top->addWidget(m_headline, 1);
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(m_copy);
    buttons->addStretch(1);
    buttons->addWidget(m_panels[1]);
    buttons->addWidget(m_panels[0]);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addWidget(m_list, 1);
    layout->addWidget(m_details);
    layout->addLayout(buttons);
    resize(620, 380);

    connect(m_list, &QTreeWidget::currentItemChanged, this, &ReportDialog::showDetails);
    connect(m_copy, &QPushButton::clicked, this, &ReportDialog::copyDetails);
    connect(m_panels[0], &QPushButton::clicked, this, &QWidget::close);
    connect(m_panels[1], &QPushButton::clicked, this, &ReportDialog::sendReport);
}

void ReportDialog::setDetailsProvider(DetailsProvider provider)
{
    m_detailsProvider = std::move(provider);
    if (m_list->topLevelItemCount() > 0)
        m_list->setCurrentItem(m_list->topLevelItem(0));
    showDetails();
}

void ReportDialog::showDetails()
{
    const int entry = m_list->indexOfTopLevelItem(m_list->currentItem());
    const QString details = m_detailsProvider && entry >= 0 ? m_detailsProvider(entry) : QString();
    m_details->setPlainText(details);
    m_details->setVisible(!details.isEmpty());
    m_copy->setVisible(!details.isEmpty());
}

void ReportDialog::copyDetails()
{
    QApplication::clipboard()->setText(m_details->toPlainText());
}

void ReportDialog::sendReport()
{
    const QVersionNumber version = QVersionNumber::fromString(QApplication::applicationVersion());
    const int random = int(QRandomGenerator::global()->bounded(1, 1001));
    const QString text = buildFailureReportText(
        m_report.entries(), version.majorVersion(), version.minorVersion(), random);
    for (QPushButton *button : m_panels)
        button->setEnabled(false);
    setCursor(Qt::BusyCursor);
    m_sender = new FailureReportSender(this);
    connect(m_sender, &FailureReportSender::finished, this, [this] {
        unsetCursor();
        ShowMessage(QStringLiteral("Thank you."), MsgInformation, QString(), this);
        finish();
        close();
    });
    m_sender->send(reportEndpoint(m_settingsKey), text);
}

void ReportDialog::finish()
{
    if (m_finished)
        return;
    m_finished = true;
    m_report.ClearFailureReport();
    if (m_mainWindow)
        m_mainWindow->setEnabled(true);
}

// A report on its way is seen through; closing waits for "Thank you.".
void ReportDialog::closeEvent(QCloseEvent *event)
{
    if (m_sender && !m_finished) {
        event->ignore();
        return;
    }
    QDialog::closeEvent(event);
}

void ReportDialog::done(int result)
{
    if (m_sender && !m_finished)
        return;
    finish();
    QDialog::done(result);
}

ReportDialog *showFailureReportDialog(QWidget *mainWindow, FailureReport &report,
    const QString &caption, const QString &message, const QString &settingsKey,
    ReportDialog::DetailsProvider details)
{
    const FailureReportDisplay display = ShowFailureReport(report, caption, message);
    if (!display.show)
        return nullptr;
    auto *dialog = new ReportDialog(report, display, settingsKey, mainWindow);
    if (details)
        dialog->setDetailsProvider(std::move(details));
    if (mainWindow)
        mainWindow->setEnabled(false);
    dialog->setEnabled(true);
    dialog->show();
    return dialog;
}

} // namespace sonivert
