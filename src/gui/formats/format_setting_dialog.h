#pragma once

#include "core/formats/output_settings.h"

#include <QDialog>
#include <array>

class QButtonGroup;
class QComboBox;
class QLabel;
class QLineEdit;
class QRadioButton;
class QTreeWidget;

namespace sonivert {

class NumberBox;
class SpinButtons;

// The format settings dialog. It shows one OutputSettings model and passes on what the person
// picks; the rules that keep the settings consistent live in the model. Closing only hides it.
class FormatSettingDialog : public QDialog
{
    Q_OBJECT

public:
    explicit FormatSettingDialog(OutputSettings &settings, QWidget *parent = nullptr);

    OutputSettings &settings() const { return m_settings; }

    // Enables or disables the choices as a whole; each control keeps its own lock.
    void setChoicesEnabled(bool enabled);

    // Highlights a preset row, remembers its ID and updates the total and the column caption.
    void SelectPresetRow(int row);
    int selectedPresetRow() const;

protected:
    void showEvent(QShowEvent *event) override;

private:
    struct NumberControls
    {
        NumberBox *box = nullptr;
        SpinButtons *spin = nullptr;
        QLabel *label = nullptr;
    };

    void buildLayout();
    QWidget *buildVideoGroup();
    QWidget *buildAudioGroup();
    QWidget *buildQualityGroup();
    QComboBox *makeChoice(ChoiceListId id);
    NumberControls makeNumber(NumberId id, const QString &name, const QString &caption);

    void mirrorPresetList();
    void syncFromModel();
    void syncNumber(NumberId id);
    void presetRowChosen();
    void numberTyped(NumberId id);
    void numberCommitted(NumberId id);
    void closeClicked();
    void okClicked();

    OutputSettings &m_settings;
    QTreeWidget *m_presetList = nullptr;
    QLabel *m_totalLabel = nullptr;
    QLabel *m_copyNote = nullptr; // shown for the family that copies the sound
    QWidget *m_choices = nullptr;
    std::array<QComboBox *, ChoiceListCount> m_combos {};
    std::array<NumberControls, 3> m_numbers {};
    QButtonGroup *m_quality = nullptr;
    std::array<QRadioButton *, 3> m_qualityButtons {};
    QLineEdit *m_idHolder = nullptr;
    std::array<QLineEdit *, 6> m_descriptionHolders {};
    bool m_syncing = false;
    int m_typingIn = -1; // the number box whose typing is being passed on
    bool m_activated = false;
};

// The one dialog of the running program, created hidden on first use and kept until exit (with
// its owner, the main window, when one is given).
FormatSettingDialog *formatSettingWindow(QWidget *owner = nullptr);

} // namespace sonivert
