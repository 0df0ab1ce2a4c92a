#pragma once

#include <QWidget>
#include <array>
#include <functional>

class QCheckBox;
class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;

namespace sonivert {

class FormatPresetBinder;
class RunOptions;

// The output choice under the file list: the format and its preset, and the box of the folder the
// converted files go to, which shows the run options' folder and passes on what is typed.
class OutputPanel : public QWidget
{
    Q_OBJECT
public:
    struct Buttons
    {
        QPushButton *setting = nullptr;
        QPushButton *browseFolder = nullptr;
        QPushButton *openFolder = nullptr;
    };

    OutputPanel(const Buttons &buttons, RunOptions &options, QWidget *parent = nullptr);
    ~OutputPanel() override;

    // Checks the folder for a run; an empty box is given the documents folder, usable or not.
    // When the folder cannot be used, says why beside the box and hands the box to the person.
    bool useFolder();

    void selectFirstFormat();
    // The family, preset and changes of the last session; the first family when none is known.
    void selectRememberedFormat(const QString &settingsKey);
    void setFormatListEnabled(bool enabled);
    // The format, the preset, the folder box and their captions; the settings dialog's choices
    // follow them through the enabler.
    void setChoicesEnabled(bool enabled);
    void setFormatChoicesEnabler(std::function<void(bool)> enabler)
    {
        m_formatChoicesEnabled = std::move(enabler);
    }

private:
    void openFolderCommand();
    void browseFolderCommand();
    void folderEdited();

    RunOptions &m_options;
    std::function<void(bool)> m_formatChoicesEnabled;
    std::array<QLabel *, 3> m_labels {};
    QComboBox *m_format = nullptr;
    QComboBox *m_preset = nullptr;
    QLabel *m_coverLabel = nullptr;
    QComboBox *m_cover = nullptr;
    QCheckBox *m_splitChapters = nullptr;
    QGroupBox *m_folderGroup = nullptr;
    QLineEdit *m_folder = nullptr;
    QLabel *m_folderProblem = nullptr; // why Convert could not use the folder
    FormatPresetBinder *m_formatBinder = nullptr;
};

} // namespace sonivert
