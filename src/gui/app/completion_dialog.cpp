#include "gui/app/completion_dialog.h"

#include "gui/app/open_folder.h"
#include "gui/ui/icon_store.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace sonivert {

CompletionDialog::CompletionDialog(const QString &outputFolder, QWidget *mainWindow)
    : QDialog(mainWindow)
    , m_outputFolder(outputFolder)
    , m_mainWindow(mainWindow)
{
    setObjectName(QStringLiteral("frmMsg"));
    setWindowTitle(QStringLiteral("Sonivert"));
    setModal(true);

    for (int i = 0; i < 3; ++i) {
        m_buttons[i] = new QPushButton(this);
        m_buttons[i]->setObjectName(QStringLiteral("Cmd_Msg_%1").arg(i));
    }
    m_buttons[0]->setText(QStringLiteral("Open output folder"));
    m_buttons[1]->setText(QStringLiteral("Close"));
    m_buttons[0]->setDefault(true);

    QPushButton *picture = m_buttons[2];
    picture->setFlat(true);
    picture->setFocusPolicy(Qt::NoFocus);
    picture->setIcon(QIcon(IconStore::get(14)));
    picture->setIconSize(QSize(48, 48));
    picture->setFixedSize(64, 64);

    auto *label = new QLabel(QStringLiteral("Conversion is completed !"), this);
    label->setObjectName(QStringLiteral("lbl_ConversionCompleted"));
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * 1.25);
    font.setBold(true);
    label->setFont(font);

    auto *top = new QHBoxLayout;
    top->addWidget(picture);
    top->addSpacing(8);
    top->addWidget(label, 1);

    auto *buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(m_buttons[0]);
    buttons->addWidget(m_buttons[1]);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 20, 20, 16);
    layout->addLayout(top);
    layout->addSpacing(12);
    layout->addLayout(buttons);
    setFixedSize(sizeHint().expandedTo(QSize(380, 0)));

    connect(m_buttons[0], &QPushButton::clicked, this, &CompletionDialog::openOutputFolder);
    connect(m_buttons[1], &QPushButton::clicked, this, &QDialog::accept);
}

void CompletionDialog::openOutputFolder()
{
    // The window goes first, so the file manager does not open behind a modal dialog.
    accept();
    OpenOutputFolder(m_mainWindow, m_outputFolder, false, false);
}

} // namespace sonivert
