// Building the main window's widgets. Behaviour lives in main_window.cpp.
#include "core/app/run_options.h"
#include "gui/app/main_window.h"
#include "gui/convert/thread_options_box.h"

#include <QHBoxLayout>
#include <QPushButton>
#include <QVBoxLayout>

namespace sonivert {

namespace {

const char *const ButtonCaptions[] = {
    "&Add Files",
    "&Remove",
    "&Clear List",
    "Convert &Now",
    "&Stop",
    "&Open Folder",
    "S&etting",
    "...",
    "&Trim",
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
    m_diagnose
        = named(new QPushButton(QStringLiteral("&Diagnose")), QStringLiteral("Cmd_Diagnose"));
    m_diagnose->setMinimumHeight(36);
    toolbar->addWidget(m_diagnose);

    m_listArea = new FileListArea;
    auto *middle = new QHBoxLayout;
    middle->addWidget(m_listArea, 1);
    middle->addWidget(buildSidePanel());
    m_output = new OutputPanel(
        { m_cmd[BtnSetting], m_cmd[BtnBrowseFolder], m_cmd[BtnOpenFolder] }, *m_options);

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

    column->addWidget(new ThreadOptionsBox(*m_options));
    column->addStretch(1);
    return panel;
}

QWidget *MainWindow::buildConvertArea()
{
    ConversionPanel::Controls controls;
    controls.convert = m_cmd[BtnConvert];
    controls.stop = m_cmd[BtnStop];
    controls.output = m_output;
    controls.options = m_options;
    m_convert = new ConversionPanel(*this, controls, m_identity.settingsKey);
    return m_convert;
}

} // namespace sonivert
