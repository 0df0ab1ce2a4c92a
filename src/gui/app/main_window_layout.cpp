// Building the main window's widgets. Behaviour lives in main_window.cpp.
#include "gui/app/main_window.h"

#include <QCheckBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QIntValidator>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace sonivert {

namespace {

const char *const ButtonCaptions[] = {
    "Add Files",
    "Remove",
    "Clear List",
    "Convert Now",
    "Stop",
    "Open Folder",
    "Setting",
    "...",
    "Trim",
};

template<typename T> T *named(T *widget, const QString &name)
{
    widget->setObjectName(name);
    return widget;
}

} // namespace

void MainWindow::buildLayout()
{
    for (int i = 0; i < int(m_cmd.size()); ++i) {
        m_cmd[size_t(i)] = named(new QPushButton(QString::fromLatin1(ButtonCaptions[i])),
            QStringLiteral("Cmd_FileListView_%1").arg(i));
        m_cmd[size_t(i)]->setIconSize(QSize(24, 24));
    }

    auto *toolbar = new QHBoxLayout;
    toolbar->setSpacing(6);
    for (int i : { BtnAddFiles, BtnRemove, BtnClearList, BtnTrim }) {
        m_cmd[size_t(i)]->setMinimumHeight(36);
        toolbar->addWidget(m_cmd[size_t(i)]);
    }
    toolbar->addStretch(1);
    m_diagnose = named(new QPushButton(QStringLiteral("Diagnose")), QStringLiteral("Cmd_Diagnose"));
    m_diagnose->setMinimumHeight(36);
    toolbar->addWidget(m_diagnose);

    m_listArea = new FileListArea;
    auto *middle = new QHBoxLayout;
    middle->addWidget(m_listArea, 1);
    middle->addWidget(buildSidePanel());
    m_output = new OutputPanel({ m_cmd[BtnSetting], m_cmd[BtnBrowseFolder], m_cmd[BtnOpenFolder] },
        m_identity.settingsKey);

    auto *central = new QWidget;
    auto *layout = new QVBoxLayout(central);
    layout->setContentsMargins(10, 10, 10, 10);
    layout->setSpacing(8);
    layout->addLayout(toolbar);
    layout->addLayout(middle, 1);
    layout->addWidget(m_output);
    layout->addWidget(buildConvertArea());
    setCentralWidget(central);

    m_startTip = new GettingStartedTip(*this, *m_listArea, m_cmd[BtnAddFiles]);
    resize(1080, 680);
    setMinimumSize(820, 560);
}

QWidget *MainWindow::buildSidePanel()
{
    auto *panel = new QWidget;
    panel->setFixedWidth(270);
    auto *column = new QVBoxLayout(panel);
    column->setContentsMargins(0, 0, 0, 0);

    m_info = new InfoPanel;
    column->addWidget(m_info);

    auto *other = named(new QGroupBox(QStringLiteral("Other")), QStringLiteral("GroupBox_Other"));
    auto *otherRow = new QHBoxLayout(other);
    m_threadMode
        = named(new QCheckBox(QStringLiteral("Thread Mode")), QStringLiteral("chkThreadMode"));
    m_threadCount = named(new QLineEdit(QStringLiteral("1")), QStringLiteral("txtThreadCount"));
    m_threadCount->setValidator(new QIntValidator(0, 64, m_threadCount));
    m_threadCount->setMaximumWidth(48);
    otherRow->addWidget(m_threadMode);
    otherRow->addStretch(1);
    otherRow->addWidget(
        named(new QLabel(QStringLiteral("Thread Count")), QStringLiteral("lbl_ThreadCount")));
    otherRow->addWidget(m_threadCount);
    column->addWidget(other);
    column->addStretch(1);
    return panel;
}

QWidget *MainWindow::buildConvertArea()
{
    ConversionPanel::Controls controls;
    controls.convert = m_cmd[BtnConvert];
    controls.stop = m_cmd[BtnStop];
    controls.output = m_output;
    controls.threadMode = m_threadMode;
    controls.threadCount = m_threadCount;
    m_convert = new ConversionPanel(*this, controls, m_identity.settingsKey);
    return m_convert;
}

} // namespace sonivert
