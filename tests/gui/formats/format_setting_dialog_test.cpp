#include "core/formats/output_settings.h"
#include "gui/formats/format_preset_binder.h"
#include "gui/formats/format_setting_dialog.h"
#include "gui/formats/number_box.h"

#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeWidget>

using namespace sonivert;

class FormatSettingDialogTest : public QObject
{
    Q_OBJECT

    Catalogue m_pristine;
    Catalogue m_catalogue;
    OutputSettings *m_settings = nullptr;
    FormatSettingDialog *m_dialog = nullptr;

    QComboBox *combo(ChoiceListId id) const
    {
        return m_dialog->findChild<QComboBox *>(QStringLiteral("Combo_OutputFile_%1").arg(int(id)));
    }

    void choose(ChoiceListId id, const char *text)
    {
        QComboBox *box = combo(id);
        const int index = box->findText(QLatin1String(text));
        QVERIFY2(index >= 0, text);
        box->setCurrentIndex(index);
        emit box->activated(index);
    }

    QTreeWidget *grid() const
    {
        return m_dialog->findChild<QTreeWidget *>(QStringLiteral("PresetList"));
    }

    void clickRow(int row) { grid()->setCurrentItem(grid()->topLevelItem(row)); }

    NumberBox *box(const char *name) const
    {
        return m_dialog->findChild<NumberBox *>(QLatin1String(name));
    }

private slots:
    void initTestCase()
    {
        QTemporaryDir dir;
        QVERIFY(loadBuiltInCatalogue(m_pristine, dir.path()));
    }

    void init()
    {
        // Each case gets fresh tables: the dialog writes its changes into the preset rows.
        m_catalogue = m_pristine;
        m_settings = new OutputSettings(m_catalogue, this);
        m_settings->selectFormat(QStringLiteral("WAV"));
        m_dialog = new FormatSettingDialog(*m_settings);
    }

    void cleanup()
    {
        delete m_dialog;
        delete m_settings;
    }

    void listsMirrorTheFamily()
    {
        m_dialog->show();
        QCOMPARE(grid()->topLevelItemCount(), int(m_settings->offeredPresets().size()));
        QCOMPARE(grid()->topLevelItem(0)->text(0), QStringLiteral("[Custom]"));
        QCOMPARE(m_dialog->selectedPresetRow(), 1);
        QCOMPARE(m_dialog->findChild<QLabel *>(QStringLiteral("lbl_TotalPreset"))->text(),
            QStringLiteral("Total : %1").arg(grid()->topLevelItemCount()));
        QCOMPARE(grid()->headerItem()->text(0), QStringLiteral("WAV Presets"));
        QCOMPARE(
            combo(ChoiceListId::AudioCodec)->currentText(), QStringLiteral("PCM little-endian"));
        QCOMPARE(combo(ChoiceListId::AudioCodec)->count(),
            int(m_settings->choice(ChoiceListId::AudioCodec).entries.size()));
        QVERIFY(!combo(ChoiceListId::FrameSize)->isEnabled());
        QVERIFY(combo(ChoiceListId::FileExtention)->isEnabled());
        for (const char *name : { "GroupBox_Video", "GroupBox_Audio", "GroupBox_Quality" })
            QVERIFY2(m_dialog->findChild<QWidget *>(QLatin1String(name)), name);
    }

    // The family that copies the sound has one fixed preset: nothing in the dialog can change,
    // and a note says why and how a trim cuts.
    void theCopyFamilyHasNothingToTune()
    {
        m_dialog->show();
        auto *note = m_dialog->findChild<QLabel *>(QStringLiteral("lbl_CopyNote"));
        QVERIFY(note && !note->isVisible());
        m_settings->selectFormat(QStringLiteral("Original audio (no re-encoding)"));
        QCOMPARE(grid()->topLevelItemCount(), 1);
        QVERIFY(note->isVisible());
        QVERIFY(note->text().contains(QStringLiteral("at most one codec frame off")));
        auto *video = m_dialog->findChild<QWidget *>(QStringLiteral("GroupBox_Video"));
        QVERIFY(!video->isEnabled());
        for (ChoiceListId id : { ChoiceListId::AudioCodec, ChoiceListId::SampleRate,
                 ChoiceListId::AudioBitrate, ChoiceListId::Channels, ChoiceListId::AudioSize,
                 ChoiceListId::FileExtention, ChoiceListId::VideoCodec })
            QVERIFY2(!combo(id)->isEnabled() || combo(id)->count() <= 1,
                qPrintable(combo(id)->objectName()));
        m_settings->selectFormat(QStringLiteral("WAV"));
        QVERIFY(!note->isVisible());
        QVERIFY(video->isEnabled());
    }

    void audioCodecChangeStaysWithItsPreset()
    {
        m_dialog->show();
        choose(ChoiceListId::AudioCodec, "IMA ADPCM");
        QCOMPARE(m_settings->choiceText(ChoiceListId::AudioCodec), QStringLiteral("IMA ADPCM"));
        QCOMPARE(combo(ChoiceListId::AudioBitrate)->currentText(), QStringLiteral("352 kbps"));
        QCOMPARE(combo(ChoiceListId::SampleRate)->currentText(), QStringLiteral("44100 Hz"));

        clickRow(2);
        QCOMPARE(
            combo(ChoiceListId::AudioCodec)->currentText(), QStringLiteral("PCM little-endian"));
        QCOMPARE(combo(ChoiceListId::AudioSize)->currentText(), QStringLiteral("24 bit"));
        QCOMPARE(m_dialog->findChild<QLineEdit *>(QStringLiteral("Txt_ID"))->text(),
            m_settings->offeredPresets().at(2).id);

        clickRow(1);
        QCOMPARE(combo(ChoiceListId::AudioCodec)->currentText(), QStringLiteral("IMA ADPCM"));
        QCOMPARE(combo(ChoiceListId::AudioBitrate)->currentText(), QStringLiteral("352 kbps"));
        // Row clicks do not change the main window's selection; the OK button does.
        QCOMPARE(m_settings->mainPresetIndex(), 1);
    }

    void closingHidesAndKeepsTheSettings()
    {
        m_dialog->show();
        choose(ChoiceListId::SampleRate, "22050 Hz");
        m_dialog->close();
        QVERIFY(m_dialog->isHidden());
        m_dialog->show();
        QCOMPARE(combo(ChoiceListId::SampleRate)->currentText(), QStringLiteral("22050 Hz"));

        // The Close button applies the selected row again, which holds the stored change.
        QTest::mouseClick(
            m_dialog->findChild<QPushButton *>(QStringLiteral("Cmd_Panel_0")), Qt::LeftButton);
        QVERIFY(m_dialog->isHidden());
        QCOMPARE(m_settings->choiceText(ChoiceListId::SampleRate), QStringLiteral("22050 Hz"));
    }

    void okSelectsTheRowInTheMainList()
    {
        QComboBox formats;
        QComboBox presets;
        FormatPresetBinder binder(&formats, &presets, *m_settings);
        binder.FillFormatKeywordList();
        QCOMPARE(formats.itemText(0), QStringLiteral("MP3"));
        binder.selectFormatAt(formats.findText(QStringLiteral("WAV")));
        QCOMPARE(presets.count(), int(m_settings->offeredPresets().size()));
        QCOMPARE(presets.currentIndex(), 1);
        QCOMPARE(presets.itemData(1).toString(), m_settings->selectedPresetId());

        m_dialog->show();
        clickRow(3);
        QTest::mouseClick(
            m_dialog->findChild<QPushButton *>(QStringLiteral("Cmd_Panel_1")), Qt::LeftButton);
        QVERIFY(m_dialog->isHidden());
        QCOMPARE(m_settings->mainPresetIndex(), 3);
        QCOMPARE(presets.currentIndex(), 3);

        // The main window's lists drive the same settings.
        emit presets.activated(0);
        QCOMPARE(m_settings->mainPresetIndex(), 0);
        formats.setCurrentIndex(0);
        emit formats.activated(0);
        QCOMPARE(m_settings->currentFormatKeyword(), QStringLiteral("MP3"));
        QCOMPARE(presets.currentIndex(), 1);
        QCOMPARE(grid()->topLevelItemCount(), presets.count());
        QCOMPARE(m_settings->choiceText(ChoiceListId::AudioCodec), QStringLiteral("MP3"));
    }

    void firstActivationAppliesTheMainPreset()
    {
        m_settings->applyPresetId(m_settings->offeredPresets().at(4).id);
        QVERIFY(m_settings->choiceText(ChoiceListId::Channels) != QStringLiteral("Stereo")
            || m_settings->choiceText(ChoiceListId::SampleRate) != QStringLiteral("44100 Hz"));
        m_dialog->show();
        QCOMPARE(m_settings->choiceText(ChoiceListId::SampleRate), QStringLiteral("44100 Hz"));
        m_dialog->hide();
        m_settings->applyPresetId(m_settings->offeredPresets().at(4).id);
        m_dialog->show(); // later showings only highlight the row
        QVERIFY(m_settings->choiceText(ChoiceListId::SampleRate) != QStringLiteral("44100 Hz"));
        QCOMPARE(m_dialog->selectedPresetRow(), 1);
    }

    void numberBoxesRefuseLettersAndClamp()
    {
        m_dialog->show();
        m_settings->applyPresetId(QStringLiteral("AVI-DIVX-640"));
        NumberBox *bitrate = box("Txt_OutputVideoBitrate");
        QVERIFY(bitrate);
        QVERIFY(!bitrate->isVisible());
        choose(ChoiceListId::VideoBitrate, "Custom");
        QVERIFY(bitrate->isVisible());
        QVERIFY(bitrate->isEnabled());
        QCOMPARE(bitrate->text(), QStringLiteral("1075"));

        bitrate->setFocus();
        bitrate->clear();
        QTest::keyClicks(bitrate, QStringLiteral("12ab3"));
        QCOMPARE(bitrate->text(), QStringLiteral("123"));
        // The spinner cannot go below its minimum; the box keeps the typing until committed.
        QCOMPARE(m_settings->number(NumberId::VideoBitrate).value,
            m_settings->number(NumberId::VideoBitrate).minimum);
        QTest::keyClicks(bitrate, QStringLiteral("4"));
        QCOMPARE(m_settings->number(NumberId::VideoBitrate).value, 1234);
        bitrate->clear();
        QTest::keyClicks(bitrate, QStringLiteral("99999"));
        QCOMPARE(bitrate->text(), QStringLiteral("8000"));
        QCOMPARE(m_settings->number(NumberId::VideoBitrate).value, 8000);

        bitrate->clear();
        QTest::keyClicks(bitrate, QStringLiteral("-5-"));
        QCOMPARE(bitrate->text(), QStringLiteral("-5"));
        bitrate->setCursorPosition(2);
        QTest::keyClicks(bitrate, QStringLiteral("-"));
        QCOMPARE(bitrate->text(), QStringLiteral("-5"));
        QTest::keyClick(bitrate, Qt::Key_Return);
        QCOMPARE(
            bitrate->text(), QString::number(m_settings->number(NumberId::VideoBitrate).minimum));

        // Width and height appear with a custom frame size only.
        NumberBox *width = box("Txt_OutputVideoWidth");
        QVERIFY(!width->isVisible());
        choose(ChoiceListId::FrameSize, "Custom");
        QVERIFY(width->isVisible());
        QCOMPARE(width->text(), QStringLiteral("640"));
    }

    void qualityLevelsEstimateAgain()
    {
        m_dialog->show();
        m_settings->applyPresetId(QStringLiteral("AVI-DIVX-640"));
        QCOMPARE(m_settings->number(NumberId::VideoBitrate).value, 1075);
        QTest::mouseClick(
            m_dialog->findChild<QRadioButton *>(QStringLiteral("Radio_Quality_0")), Qt::LeftButton);
        QCOMPARE(m_settings->qualityLevel(), QualityLevel::High);
        QCOMPARE(m_settings->number(NumberId::VideoBitrate).value, 2150);
        QTest::mouseClick(
            m_dialog->findChild<QRadioButton *>(QStringLiteral("Radio_Quality_1")), Qt::LeftButton);
        QCOMPARE(m_settings->number(NumberId::VideoBitrate).value, 1075);

        // A locked preset shows its levels disabled.
        m_settings->applyPresetId(QStringLiteral("AVI-SILENT"));
        QVERIFY(
            !m_dialog->findChild<QRadioButton *>(QStringLiteral("Radio_Quality_2"))->isEnabled());
        QVERIFY(
            m_dialog->findChild<QRadioButton *>(QStringLiteral("Radio_Quality_2"))->isChecked());
    }

    void choicesCanBeDisabledAsAWhole()
    {
        m_dialog->show();
        m_settings->applyPresetId(QStringLiteral("AVI-SILENT"));
        QVERIFY(combo(ChoiceListId::VideoCodec)->isEnabled());
        QVERIFY(!combo(ChoiceListId::SampleRate)->isEnabled());
        m_dialog->setChoicesEnabled(false);
        QVERIFY(!combo(ChoiceListId::VideoCodec)->isEnabled());
        m_dialog->setChoicesEnabled(true);
        QVERIFY(combo(ChoiceListId::VideoCodec)->isEnabled());
        QVERIFY(!combo(ChoiceListId::SampleRate)->isEnabled());
        QVERIFY(!combo(ChoiceListId::FPS)->isEnabled());
    }

    void theProgramHasOneDialog()
    {
        FormatSettingDialog *first = formatSettingWindow();
        QCOMPARE(formatSettingWindow(), first);
        QCOMPARE(&first->settings(), &appOutputSettings());
        QCOMPARE(first->objectName(), QStringLiteral("frmFormatSetting"));
        first->show();
        first->close();
        QCOMPARE(formatSettingWindow(), first);
    }
};

QTEST_MAIN(FormatSettingDialogTest)
#include "format_setting_dialog_test.moc"
