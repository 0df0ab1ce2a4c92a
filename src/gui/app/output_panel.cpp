#include "gui/app/output_panel.h"

#include "core/app/folders.h"
#include "core/app/run_options.h"
#include "core/formats/output_settings.h"
#include "core/formats/remembered_output.h"
#include "gui/app/messages.h"
#include "gui/app/open_folder.h"
#include "gui/formats/format_preset_binder.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalBlocker>

namespace sonivert {

namespace {

// The cover picture of the outputs that hold one, bound to the run options.
QComboBox *coverChoiceBox(RunOptions &options)
{
    auto *box = new QComboBox;
    box->setObjectName(QStringLiteral("Cmb_Cover"));
    box->setToolTip(QStringLiteral("The cover picture of MP3, M4A, M4B, M4R, FLAC, Ogg and Opus "
                                   "outputs. Chapters are kept where the format holds them."));
    box->addItem(QStringLiteral("Source picture"), int(CoverChoice::Source));
    box->addItem(QStringLiteral("Source picture, else a video frame"), int(CoverChoice::Frame));
    box->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    box->addItem(QStringLiteral("No cover"), int(CoverChoice::None));
    box->setCurrentIndex(box->findData(int(options.cover())));
    QObject::connect(box, &QComboBox::currentIndexChanged, &options,
        [box, &options](int) { options.setCover(CoverChoice(box->currentData().toInt())); });
    QObject::connect(&options, &RunOptions::coverChanged, box,
        [box](CoverChoice cover) { box->setCurrentIndex(box->findData(int(cover))); });
    return box;
}

} // namespace

OutputPanel::OutputPanel(const Buttons &buttons, RunOptions &options, QWidget *parent)
    : QWidget(parent)
    , m_options(options)
{
    auto *grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(8);

    const char *const captions[] = { "Output &Format :", "Format &Preset :", "Output Fo&lder :" };
    for (int i = 0; i < 3; ++i) {
        m_labels[size_t(i)] = new QLabel(QString::fromLatin1(captions[i]));
        m_labels[size_t(i)]->setObjectName(QStringLiteral("lbl_OutputFileTitle_%1").arg(i));
    }
    m_format = new QComboBox;
    m_format->setObjectName(QStringLiteral("Cmb_OutputFormat"));
    m_format->setMinimumWidth(160);
    m_preset = new QComboBox;
    m_preset->setObjectName(QStringLiteral("Cmd_OutputPreset"));
    m_preset->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);

    auto *formatRow = new QHBoxLayout;
    formatRow->addWidget(m_labels[0]);
    formatRow->addWidget(m_format);
    formatRow->addSpacing(12);
    formatRow->addWidget(m_labels[1]);
    formatRow->addWidget(m_preset, 1);
    formatRow->addWidget(buttons.setting);
    grid->addLayout(formatRow, 0, 0);

    // What the outputs carry besides the sound, under the format it goes with.
    auto *extrasRow = new QHBoxLayout;
    m_coverLabel = new QLabel(QStringLiteral("Co&ver :"));
    m_cover = coverChoiceBox(options);
    m_coverLabel->setBuddy(m_cover);
    m_splitChapters = new QCheckBox(QStringLiteral("One f&ile per chapter"));
    m_splitChapters->setObjectName(QStringLiteral("Chk_SplitChapters"));
    m_splitChapters->setToolTip(QStringLiteral(
        "Files with chapters give one output per chapter: \"NAME - NN - CHAPTER TITLE\"."));
    m_splitChapters->setChecked(options.splitChapters());
    connect(m_splitChapters, &QCheckBox::toggled, &options, &RunOptions::setSplitChapters);
    connect(&options, &RunOptions::splitChaptersChanged, m_splitChapters, &QCheckBox::setChecked);
    extrasRow->addWidget(m_coverLabel);
    extrasRow->addWidget(m_cover);
    extrasRow->addSpacing(12);
    extrasRow->addWidget(m_splitChapters);
    extrasRow->addStretch(1);
    grid->addLayout(extrasRow, 1, 0);

    m_folderGroup = new QGroupBox;
    m_folderGroup->setObjectName(QStringLiteral("GroupBox_OutputFolder"));
    m_folderGroup->setFlat(true);
    auto *folderRow = new QHBoxLayout(m_folderGroup);
    folderRow->setContentsMargins(0, 0, 0, 0);
    m_folder = new QLineEdit;
    m_folder->setObjectName(QStringLiteral("Txt_OutputPath"));
    m_labels[0]->setBuddy(m_format);
    m_labels[1]->setBuddy(m_preset);
    m_labels[2]->setBuddy(m_folder);
    buttons.browseFolder->setFixedWidth(40);
    buttons.browseFolder->setToolTip(QStringLiteral("Choose the output folder"));
    folderRow->addWidget(m_labels[2]);
    folderRow->addWidget(m_folder, 1);
    folderRow->addWidget(buttons.browseFolder);
    folderRow->addWidget(buttons.openFolder);
    grid->addWidget(m_folderGroup, 2, 0);

    m_folderProblem = new QLabel;
    m_folderProblem->setObjectName(QStringLiteral("lbl_OutputFolderProblem"));
    m_folderProblem->setStyleSheet(QStringLiteral("color: #b00020;"));
    m_folderProblem->hide();
    connect(m_folder, &QLineEdit::textChanged, m_folderProblem, &QLabel::hide);
    grid->addWidget(m_folderProblem, 3, 0);

    connect(buttons.openFolder, &QPushButton::clicked, this, &OutputPanel::openFolderCommand);
    connect(buttons.browseFolder, &QPushButton::clicked, this, &OutputPanel::browseFolderCommand);
    connect(m_folder, &QLineEdit::editingFinished, this, &OutputPanel::folderEdited);
    m_folder->setText(m_options.outputFolder());
    connect(m_folder, &QLineEdit::textChanged, &m_options, &RunOptions::setOutputFolder);
    connect(&m_options, &RunOptions::outputFolderChanged, m_folder, [this](const QString &folder) {
        if (m_folder->text() != folder)
            m_folder->setText(folder);
    });
    m_formatBinder = new FormatPresetBinder(m_format, m_preset, appOutputSettings(), this);
}

OutputPanel::~OutputPanel()
{
    // A focused box reports editingFinished as it loses the focus while the base classes tear it
    // down; that may not reach a half-destroyed panel.
    for (QObject *child : findChildren<QObject *>())
        disconnect(child, nullptr, this, nullptr);
}

bool OutputPanel::useFolder()
{
    QString folder = m_options.outputFolder();
    QString why;
    const bool usable = CheckOutputFolder(folder, &why);
    m_options.setOutputFolder(usable ? withTrailingSeparator(folder) : folder);
    if (usable)
        return true;
    m_folderProblem->setText(why);
    m_folderProblem->show();
    m_folder->selectAll();
    m_folder->setFocus();
    return false;
}

void OutputPanel::selectFirstFormat()
{
    m_formatBinder->FillFormatKeywordList();
    m_formatBinder->selectFormatAt(0);
}

void OutputPanel::selectRememberedFormat(const QString &settingsKey)
{
    m_formatBinder->FillFormatKeywordList();
    if (!restoreOutputSettings(settingsKey, appOutputSettings())) {
        m_formatBinder->selectFormatAt(0);
        return;
    }
    const QSignalBlocker blocker(m_format);
    m_format->setCurrentIndex(m_format->findText(appOutputSettings().currentFormatKeyword()));
}

void OutputPanel::setFormatListEnabled(bool enabled)
{
    m_format->setEnabled(enabled);
}

void OutputPanel::setChoicesEnabled(bool enabled)
{
    m_format->setEnabled(enabled);
    m_preset->setEnabled(enabled);
    m_folder->setEnabled(enabled);
    m_cover->setEnabled(enabled);
    m_splitChapters->setEnabled(enabled);
    m_coverLabel->setEnabled(enabled);
    for (QLabel *label : m_labels)
        label->setEnabled(enabled);
    if (m_formatChoicesEnabled)
        m_formatChoicesEnabled(enabled);
}

void OutputPanel::openFolderCommand()
{
    const QString folder = m_options.outputFolder();
    if (!QFileInfo(folder.trimmed()).isDir()) {
        ShowMessage(
            folder + QStringLiteral("\n\nPath not found!"), MsgInformation, QString(), window());
        m_folder->selectAll();
        m_folder->setFocus();
        return;
    }
    OpenOutputFolder(window(), folder.trimmed(), false, false);
}

void OutputPanel::browseFolderCommand()
{
    const QString start = m_options.outputFolder().trimmed();
    QString chosen
        = QFileDialog::getExistingDirectory(window(), QStringLiteral("Output Folder"), start);
    if (chosen.isEmpty())
        chosen = start;
    m_options.chooseOutputFolder(withTrailingSeparator(QDir::fromNativeSeparators(chosen)));
}

void OutputPanel::folderEdited()
{
    m_options.setOutputFolder(withTrailingSeparator(m_options.outputFolder()));
}

} // namespace sonivert
