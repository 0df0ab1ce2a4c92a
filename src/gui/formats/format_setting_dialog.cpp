#include "gui/formats/format_setting_dialog.h"

#include "core/convert/stream_copy.h"
#include "gui/formats/number_box.h"

#include <QButtonGroup>
#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalBlocker>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <climits>

namespace sonivert {

namespace {

constexpr int IdRole = Qt::UserRole;

const std::array<const char *, ChoiceListCount> captions = {
    "Video codec :",
    "Frame size :",
    "Frame rate :",
    "File type :",
    "Audio codec :",
    "Sample rate :",
    "Bit rate :",
    "Channels :",
    "Sample size :",
    "Aspect ratio :",
    "Bit rate :",
};

} // namespace

FormatSettingDialog::FormatSettingDialog(OutputSettings &settings, QWidget *parent)
    : QDialog(parent)
    , m_settings(settings)
{
    setObjectName(QStringLiteral("frmFormatSetting"));
    setWindowTitle(tr("Format Settings"));
    buildLayout();
    connect(&m_settings, &OutputSettings::changed, this, &FormatSettingDialog::syncFromModel);
    connect(&m_settings, &OutputSettings::presetListChanged, this,
        &FormatSettingDialog::mirrorPresetList);
    connect(&m_settings, &OutputSettings::mainPresetChanged, this,
        &FormatSettingDialog::SelectPresetRow);
    mirrorPresetList();
    syncFromModel();
}

void FormatSettingDialog::buildLayout()
{
    m_presetList = new QTreeWidget(this);
    m_presetList->setObjectName(QStringLiteral("PresetList"));
    m_presetList->setColumnCount(1);
    m_presetList->setHeaderLabels({ QStringLiteral("Presets") });
    m_presetList->setRootIsDecorated(false);
    m_presetList->setUniformRowHeights(true);
    m_presetList->setMinimumWidth(280);
    m_presetList->header()->setStretchLastSection(true);
    connect(m_presetList, &QTreeWidget::itemSelectionChanged, this,
        &FormatSettingDialog::presetRowChosen);

    m_totalLabel = new QLabel(this);
    m_totalLabel->setObjectName(QStringLiteral("lbl_TotalPreset"));

    auto *left = new QVBoxLayout;
    left->addWidget(m_presetList, 1);
    left->addWidget(m_totalLabel);

    m_choices = new QWidget(this);
    auto *right = new QVBoxLayout(m_choices);
    right->setContentsMargins(0, 0, 0, 0);
    right->addWidget(buildVideoGroup());
    right->addWidget(buildAudioGroup());
    right->addWidget(buildQualityGroup());
    right->addStretch(1);

    auto *body = new QHBoxLayout;
    body->addLayout(left, 1);
    body->addWidget(m_choices, 0);

    auto *buttonPanel = new QWidget(this);
    buttonPanel->setObjectName(QStringLiteral("Button_Panel"));
    auto *buttons = new QHBoxLayout(buttonPanel);
    buttons->setContentsMargins(0, 0, 0, 0);
    buttons->addStretch(1);
    auto *ok = new QPushButton(tr("OK"), buttonPanel);
    ok->setObjectName(QStringLiteral("Cmd_Panel_1"));
    ok->setDefault(true);
    auto *close = new QPushButton(tr("Close"), buttonPanel);
    close->setObjectName(QStringLiteral("Cmd_Panel_0"));
    close->setAutoDefault(false);
    buttons->addWidget(ok);
    buttons->addWidget(close);
    connect(ok, &QPushButton::clicked, this, &FormatSettingDialog::okClicked);
    connect(close, &QPushButton::clicked, this, &FormatSettingDialog::closeClicked);

    // Hidden holders of the applied preset's descriptive fields and the selected preset's ID, as
    // the Part names them: they show the output settings and are never read back.
    const std::array<const char *, 6> holderNames
        = { "Txt_Format", "Txt_Keyword", "Txt_Maker", "Txt_Type", "Txt_Thumbnail", "Txt_Image" };
    for (std::size_t i = 0; i < holderNames.size(); ++i) {
        m_descriptionHolders[i] = new QLineEdit(this);
        m_descriptionHolders[i]->setObjectName(QLatin1String(holderNames[i]));
        m_descriptionHolders[i]->hide();
    }
    m_idHolder = new QLineEdit(this);
    m_idHolder->setObjectName(QStringLiteral("Txt_ID"));
    m_idHolder->hide();

    auto *layout = new QVBoxLayout(this);
    layout->addLayout(body, 1);
    layout->addWidget(buttonPanel);
}

QComboBox *FormatSettingDialog::makeChoice(ChoiceListId id)
{
    auto *combo = new QComboBox(this);
    combo->setObjectName(QStringLiteral("Combo_OutputFile_%1").arg(int(id)));
    combo->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    combo->setMinimumContentsLength(18);
    connect(combo, &QComboBox::activated, this, [this, id](int index) {
        if (!m_syncing)
            m_settings.chooseEntry(id, index);
    });
    m_combos[std::size_t(id)] = combo;
    return combo;
}

FormatSettingDialog::NumberControls FormatSettingDialog::makeNumber(
    NumberId id, const QString &name, const QString &caption)
{
    NumberControls controls;
    controls.box = new NumberBox(this);
    controls.box->setObjectName(QStringLiteral("Txt_OutputVideo") + name);
    controls.box->setFixedWidth(64);
    controls.spin = new SpinButtons(this);
    controls.spin->setObjectName(QStringLiteral("UpDown_OutputVideo") + name);
    controls.label = new QLabel(caption, this);
    // The boxes come and go with the "Custom" choices; the dialog keeps its size meanwhile.
    for (QWidget *widget : { static_cast<QWidget *>(controls.box),
             static_cast<QWidget *>(controls.spin), static_cast<QWidget *>(controls.label) }) {
        QSizePolicy policy = widget->sizePolicy();
        policy.setRetainSizeWhenHidden(true);
        widget->setSizePolicy(policy);
    }
    connect(controls.box, &QLineEdit::textChanged, this, [this, id] { numberTyped(id); });
    connect(controls.box, &QLineEdit::editingFinished, this, [this, id] { numberCommitted(id); });
    connect(controls.spin, &SpinButtons::stepped, this, [this, id](int delta) {
        m_settings.setNumber(id, m_settings.number(id).value + delta);
        numberCommitted(id);
    });
    m_numbers[std::size_t(id)] = controls;
    return controls;
}

QWidget *FormatSettingDialog::buildVideoGroup()
{
    auto *group = new QGroupBox(tr("Video"), this);
    group->setObjectName(QStringLiteral("GroupBox_Video"));
    auto *form = new QFormLayout(group);

    auto withNumbers = [this](QComboBox *combo, std::initializer_list<NumberControls> numbers,
                           const QString &unit) {
        auto *row = new QHBoxLayout;
        row->addWidget(combo, 1);
        for (const NumberControls &number : numbers) {
            row->addWidget(number.label);
            row->addWidget(number.box);
            row->addWidget(number.spin);
        }
        if (!unit.isEmpty())
            row->addWidget(new QLabel(unit, this));
        return row;
    };

    auto idx = [](ChoiceListId id) {
        return QLatin1String(captions[std::size_t(id)]);
    };
    form->addRow(idx(ChoiceListId::VideoCodec), makeChoice(ChoiceListId::VideoCodec));
    const NumberControls width = makeNumber(NumberId::Width, QStringLiteral("Width"), tr("W"));
    const NumberControls height = makeNumber(NumberId::Height, QStringLiteral("Height"), tr("H"));
    form->addRow(idx(ChoiceListId::FrameSize),
        withNumbers(makeChoice(ChoiceListId::FrameSize), { width, height }, QString()));
    form->addRow(idx(ChoiceListId::FPS), makeChoice(ChoiceListId::FPS));
    form->addRow(idx(ChoiceListId::AspectRatio), makeChoice(ChoiceListId::AspectRatio));
    const NumberControls bitrate
        = makeNumber(NumberId::VideoBitrate, QStringLiteral("Bitrate"), QString());
    form->addRow(idx(ChoiceListId::VideoBitrate),
        withNumbers(makeChoice(ChoiceListId::VideoBitrate), { bitrate }, tr("kbps")));
    return group;
}

QWidget *FormatSettingDialog::buildAudioGroup()
{
    auto *group = new QGroupBox(tr("Audio"), this);
    group->setObjectName(QStringLiteral("GroupBox_Audio"));
    auto *form = new QFormLayout(group);
    for (ChoiceListId id :
        { ChoiceListId::AudioCodec, ChoiceListId::SampleRate, ChoiceListId::AudioBitrate,
            ChoiceListId::Channels, ChoiceListId::AudioSize, ChoiceListId::FileExtention })
        form->addRow(QLatin1String(captions[std::size_t(id)]), makeChoice(id));
    m_copyNote = new QLabel(tr("The audio is copied as it is, into the container that fits its "
                               "codec: there is nothing to tune. A trim cuts on the nearest "
                               "packets, at most one codec frame off."),
        group);
    m_copyNote->setObjectName(QStringLiteral("lbl_CopyNote"));
    m_copyNote->setWordWrap(true);
    m_copyNote->hide();
    form->addRow(m_copyNote);
    return group;
}

QWidget *FormatSettingDialog::buildQualityGroup()
{
    auto *group = new QGroupBox(tr("Quality"), this);
    group->setObjectName(QStringLiteral("GroupBox_Quality"));
    auto *row = new QHBoxLayout(group);
    m_quality = new QButtonGroup(this);
    const std::array<QString, 3> names = { tr("High"), tr("Standard"), tr("Small size") };
    for (int i = 0; i < 3; ++i) {
        auto *button = new QRadioButton(names[std::size_t(i)], group);
        button->setObjectName(QStringLiteral("Radio_Quality_%1").arg(i));
        m_quality->addButton(button, i);
        m_qualityButtons[std::size_t(i)] = button;
        row->addWidget(button);
    }
    row->addStretch(1);
    connect(m_quality, &QButtonGroup::idClicked, this, [this](int id) {
        if (!m_syncing)
            m_settings.chooseQualityLevel(QualityLevel(id));
    });
    return group;
}

void FormatSettingDialog::setChoicesEnabled(bool enabled)
{
    m_choices->setEnabled(enabled);
}

void FormatSettingDialog::mirrorPresetList()
{
    m_syncing = true;
    m_presetList->clear();
    for (const PresetEntry &entry : m_settings.offeredPresets()) {
        auto *item = new QTreeWidgetItem(m_presetList, { entry.text });
        item->setData(0, IdRole, entry.id);
    }
    m_syncing = false;
}

void FormatSettingDialog::SelectPresetRow(int row)
{
    if (m_presetList->topLevelItemCount() > 0 && row >= 0
        && row < m_presetList->topLevelItemCount()) {
        m_syncing = true;
        QTreeWidgetItem *item = m_presetList->topLevelItem(row);
        m_presetList->setCurrentItem(item);
        m_syncing = false;
        m_settings.setSelectedPresetId(item->data(0, IdRole).toString());
        m_idHolder->setText(m_settings.selectedPresetId());
        m_presetList->setFocus();
    }
    m_totalLabel->setText(
        QStringLiteral("Total : ") + QString::number(m_presetList->topLevelItemCount()));
    m_presetList->setHeaderLabels(
        { m_settings.currentFormatKeyword() + QStringLiteral(" Presets") });
}

int FormatSettingDialog::selectedPresetRow() const
{
    QTreeWidgetItem *item = m_presetList->currentItem();
    return item ? m_presetList->indexOfTopLevelItem(item) : -1;
}

void FormatSettingDialog::showEvent(QShowEvent *event)
{
    QDialog::showEvent(event);
    SelectPresetRow(m_settings.mainPresetIndex());
    if (!m_activated) {
        m_activated = true;
        m_settings.applyPresetId(m_settings.selectedPresetId());
    }
}

void FormatSettingDialog::presetRowChosen()
{
    if (m_syncing)
        return;
    const int row = selectedPresetRow();
    if (row < 0)
        return;
    const QString id = m_presetList->topLevelItem(row)->data(0, IdRole).toString();
    m_settings.setSelectedPresetId(id);
    m_settings.applyPresetId(id);
    SelectPresetRow(row);
}

void FormatSettingDialog::numberTyped(NumberId id)
{
    if (m_syncing)
        return;
    NumberBox *box = m_numbers[std::size_t(id)].box;
    bool ok = false;
    const qlonglong typed = box->text().toLongLong(&ok);
    if (!ok)
        return;
    const int maximum = m_settings.number(id).maximum;
    if (typed > maximum) {
        const QSignalBlocker blocker(box);
        box->setText(QString::number(maximum));
    }
    m_typingIn = int(id);
    m_settings.setNumber(id, int(std::clamp<qlonglong>(typed, INT_MIN, maximum)));
    m_typingIn = -1;
}

void FormatSettingDialog::numberCommitted(NumberId id)
{
    NumberBox *box = m_numbers[std::size_t(id)].box;
    const QSignalBlocker blocker(box);
    box->setText(QString::number(m_settings.number(id).value));
    if (m_settings.applyGuardOpen())
        m_settings.StoreAudioSettings();
}

void FormatSettingDialog::closeClicked()
{
    const int row = selectedPresetRow();
    if (row >= 0)
        m_settings.applyPresetId(m_presetList->topLevelItem(row)->data(0, IdRole).toString());
    hide();
}

void FormatSettingDialog::okClicked()
{
    const int row = selectedPresetRow();
    if (row >= 0)
        m_settings.selectMainPreset(row);
    accept();
}

void FormatSettingDialog::syncFromModel()
{
    const bool copy = m_settings.choiceText(ChoiceListId::AudioCodec) == CopyAudioCodecLabel;
    m_copyNote->setVisible(copy);
    // A copy writes no video: nothing of it to show as if it could change.
    if (auto *video = findChild<QWidget *>(QStringLiteral("GroupBox_Video")))
        video->setEnabled(!copy);
    m_syncing = true;
    for (int i = 0; i < ChoiceListCount; ++i) {
        const ChoiceList &list = m_settings.choice(ChoiceListId(i));
        QComboBox *combo = m_combos[std::size_t(i)];
        const QStringList texts = list.texts();
        QStringList shown;
        for (int item = 0; item < combo->count(); ++item)
            shown.append(combo->itemText(item));
        if (shown != texts) {
            combo->clear();
            combo->addItems(texts);
        }
        combo->setCurrentIndex(list.selected);
        combo->setEnabled(list.enabled);
    }
    for (NumberId id : { NumberId::Width, NumberId::Height, NumberId::VideoBitrate })
        syncNumber(id);
    m_qualityButtons[std::size_t(m_settings.qualityLevel())]->setChecked(true);
    for (QRadioButton *button : m_qualityButtons)
        button->setEnabled(m_settings.qualityEnabled());

    const PresetDescription &description = m_settings.description();
    const std::array<QString, 6> fields = { description.format, description.keyword,
        description.maker, description.type, description.thumbnail, description.image };
    for (std::size_t i = 0; i < fields.size(); ++i)
        m_descriptionHolders[i]->setText(fields[i]);
    m_idHolder->setText(m_settings.selectedPresetId());
    m_syncing = false;
}

void FormatSettingDialog::syncNumber(NumberId id)
{
    const NumberSetting &setting = m_settings.number(id);
    const NumberControls &controls = m_numbers[std::size_t(id)];
    // The box being typed in keeps what the person typed until the edit is completed.
    if (m_typingIn != int(id))
        controls.box->setText(QString::number(setting.value));
    for (QWidget *widget : { static_cast<QWidget *>(controls.box),
             static_cast<QWidget *>(controls.spin), static_cast<QWidget *>(controls.label) }) {
        if (widget) {
            widget->setVisible(setting.visible);
            widget->setEnabled(setting.enabled);
        }
    }
}

FormatSettingDialog *formatSettingWindow(QWidget *owner)
{
    // Guarded: the window goes with its owner, and a later owner (a test's) gets a new one.
    static QPointer<FormatSettingDialog> dialog;
    if (!dialog)
        dialog = new FormatSettingDialog(appOutputSettings(), owner);
    else if (owner && !dialog->parentWidget())
        dialog->setParent(owner, dialog->windowFlags()); // first used before the window existed
    return dialog;
}

} // namespace sonivert
