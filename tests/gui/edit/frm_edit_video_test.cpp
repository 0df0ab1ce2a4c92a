#include "core/app/app_flags.h"
#include "core/formats/catalogue_table.h"
#include "core/formats/output_settings.h"
#include "core/media/file_list_model.h"
#include "core/media/media_item.h"
#include "core/media/probe.h"
#include "gui/edit/frm_edit_video.h"
#include "gui/edit/preview_player.h"
#include "gui/edit/trim_bar.h"
#include "support/media_maker.h"

#include <QApplication>
#include <QFile>
#include <QLabel>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPointer>
#include <QPushButton>
#include <QSlider>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace sonivert;

namespace {

// Answers every message box that turns up with the given button and keeps its title and text.
class MessageWatcher : public QObject
{
public:
    explicit MessageWatcher(QMessageBox::StandardButton answer)
        : m_answer(answer)
    {
        m_timer.setInterval(20);
        QObject::connect(&m_timer, &QTimer::timeout, this, [this] {
            auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
            if (!box)
                return;
            texts << box->text();
            titles << box->windowTitle();
            icons << box->icon();
            box->button(m_answer)->click();
        });
        m_timer.start();
    }

    QStringList texts;
    QStringList titles;
    QList<QMessageBox::Icon> icons;

private:
    QMessageBox::StandardButton m_answer;
    QTimer m_timer;
};

template<typename T> T *part(QWidget *editor, const char *name)
{
    T *widget = editor->findChild<T *>(QString::fromLatin1(name));
    if (!widget)
        qFatal("no %s in the editor", name);
    return widget;
}

QString tagOf(QObject *control)
{
    return control->property("tag").toString();
}

void sendMouse(QWidget *target, QEvent::Type type, QPoint global, Qt::MouseButton button,
    Qt::MouseButtons buttons)
{
    QMouseEvent event(type, target->mapFromGlobal(global), global, button, buttons, Qt::NoModifier);
    QApplication::sendEvent(target, &event);
}

// Drags a handle so that the pointer ends over pixel barX of the bar.
void dragHandle(QWidget *handle, QWidget *bar, int barX)
{
    const QPoint from = handle->mapToGlobal(handle->rect().center());
    const QPoint to = bar->mapToGlobal(QPoint(barX, bar->height() / 2));
    sendMouse(handle, QEvent::MouseButtonPress, from, Qt::LeftButton, Qt::LeftButton);
    sendMouse(handle, QEvent::MouseMove, to, Qt::NoButton, Qt::LeftButton);
    sendMouse(handle, QEvent::MouseButtonRelease, to, Qt::LeftButton, Qt::NoButton);
}

} // namespace

class FrmEditVideoTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString m_clip;
    MediaItem m_probed;
    QWidget m_mainWindow;
    FileListModel m_list;

    int addClipRow()
    {
        const int row = m_list.appendMediaItem(m_probed);
        m_list.UpdateListFooter();
        return row;
    }

    // Opens the editor and waits until the selection plays by itself.
    FrmEditVideo *openPlaying(int row)
    {
        FrmEditVideo *editor = openTrimEditor(&m_mainWindow, &m_list, row);
        if (!editor)
            return nullptr;
        // Playing, and the picture actually moving on.
        if (!QTest::qWaitFor(
                [&] {
                    return editor->player()->PlayState() == PreviewPlayer::Playing
                        && editor->player()->position().microseconds()
                        > editor->range().start().microseconds() + 100000;
                },
                10000))
            return nullptr;
        return editor;
    }

    static bool waitClosed(QPointer<FrmEditVideo> &editor)
    {
        return QTest::qWaitFor([&] { return editor.isNull(); }, 5000);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_clip = m_dir.filePath(QStringLiteral("clip.mp4"));
        test::ClipOptions options;
        options.seconds = 10.0;
        QVERIFY(test::makeClip(m_clip, options));
        const ProbeResult result = probeMediaFile(m_clip);
        QVERIFY2(result.ok, qPrintable(result.message));
        m_probed = result.item;
        QCOMPARE(m_probed.text(Field::Duration), QStringLiteral("00:00:10"));
        m_mainWindow.resize(800, 600);
        m_mainWindow.show();
    }

    void cleanup()
    {
        // A failed test may leave its editor open; the next one starts without it.
        if (QPointer<FrmEditVideo> left = FrmEditVideo::current()) {
            MessageWatcher no(QMessageBox::No);
            left->close();
            QVERIFY(waitClosed(left));
            QFAIL("the editor was left open");
        }
        m_list.ClearMediaItems();
        QVERIFY(m_mainWindow.isEnabled());
        QVERIFY(!flags().EditWindowOpen);
    }

    void opensOverTheDisabledMainWindowAndPlays()
    {
        const int row = addClipRow();
        QCOMPARE(openTrimEditor(&m_mainWindow, &m_list, m_list.count()), nullptr);
        QCOMPARE(openTrimEditor(&m_mainWindow, nullptr, row), nullptr);

        QPointer<FrmEditVideo> editor = openPlaying(row);
        QVERIFY(editor);
        QCOMPARE(FrmEditVideo::current(), editor.data());
        QCOMPARE(editor->windowTitle(), QStringLiteral("Trim - clip.mp4"));
        QVERIFY(!m_mainWindow.isEnabled());
        QVERIFY(flags().EditWindowOpen);
        QCOMPARE(openTrimEditor(&m_mainWindow, &m_list, row), editor.data());

        QCOMPARE(
            part<QLabel>(editor, "lbl_StartTime")->text(), QStringLiteral("Start Time : 00:00:00"));
        QCOMPARE(
            part<QLabel>(editor, "lbl_EndTime")->text(), QStringLiteral("End Time : 00:00:10"));
        QCOMPARE(part<QLabel>(editor, "lbl_SelectedTime")->text(), QStringLiteral("00:00:10"));
        QCOMPARE(part<TrimHandle>(editor, "TrimPoint_Image_0")->tag(), QStringLiteral("0"));
        QCOMPARE(part<TrimHandle>(editor, "TrimPoint_Image_1")->tag(),
            QString::number(FrmEditVideo::BarWidth));
        QCOMPARE(part<QProgressBar>(editor, "ProgressBar_Play")->maximum(), FrmEditVideo::BarWidth);
        QCOMPARE(tagOf(part<QPushButton>(editor, "Cmd_Player_0")), QStringLiteral("Pause"));
        QVERIFY(part<QPushButton>(editor, "Cmd_Player_1")->isEnabled());
        QVERIFY(part<QWidget>(editor, "TrimPoint_Image_0")->isEnabled());
        QVERIFY(!editor->range().TrimDirty());
        QTRY_VERIFY_WITH_TIMEOUT(editor->PlayPosition().microseconds() > 0, 5000);
        QVERIFY(part<QProgressBar>(editor, "ProgressBar_Play")->value() >= 0);

        // Pause and play again through the button.
        auto *play = part<QPushButton>(editor, "Cmd_Player_0");
        play->click();
        QCOMPARE(editor->player()->PlayState(), int(PreviewPlayer::Paused));
        QCOMPARE(editor->ResumeAfterSeek(), 1);
        play->click();
        QCOMPARE(editor->player()->PlayState(), int(PreviewPlayer::Playing));
        QCOMPARE(editor->ResumeAfterSeek(), 0);

        // Nothing changed: Cancel closes without a question.
        MessageWatcher messages(QMessageBox::No);
        part<QPushButton>(editor, "Cmd_Panels_1")->click();
        QVERIFY(waitClosed(editor));
        QVERIFY(messages.texts.isEmpty());
        QCOMPARE(m_list.item(row).durationIcon, int(ListIcon::None));
    }

    // Copying the original audio cuts on packets, and the editor says so only then.
    void theCopyFamilyTellsHowItCuts()
    {
        QVERIFY(loadBuiltInCatalogue(appCatalogue(), m_dir.path()));
        const int row = addClipRow();
        for (const bool copy : { false, true }) {
            appOutputSettings().selectFormat(
                copy ? QStringLiteral("Original audio (no re-encoding)") : QStringLiteral("WAV"));
            QPointer<FrmEditVideo> editor = openTrimEditor(&m_mainWindow, &m_list, row);
            QVERIFY(editor);
            QCOMPARE(part<QLabel>(editor, "lbl_CopyNote")->isVisible(), copy);
            part<QPushButton>(editor, "Cmd_Panels_1")->click();
            QVERIFY(waitClosed(editor));
        }
    }

    void handlesAndSetButtonsMakeTheRangeAndOkSavesIt()
    {
        addClipRow();
        const int row = addClipRow();
        QPointer<FrmEditVideo> editor = openPlaying(row);
        QVERIFY(editor);
        auto *bar = part<PositionBar>(editor, "ProgressBar_Play");
        auto *startHandle = part<TrimHandle>(editor, "TrimPoint_Image_0");

        // Dragging the start handle pauses playback and shows the picture at the handle.
        dragHandle(startHandle, bar, 290);
        QCOMPARE(editor->range().startPixel(), 290);
        QCOMPARE(startHandle->tag(), QStringLiteral("290"));
        QCOMPARE(startHandle->geometry().right() + 1, bar->x() + 290);
        QCOMPARE(editor->player()->PlayState(), int(PreviewPlayer::Paused));
        QCOMPARE(editor->LastSeekTime(), editor->range().timeOf(290));
        QCOMPARE(
            part<QLabel>(editor, "lbl_StartTime")->text(), QStringLiteral("Start Time : 00:00:05"));
        QVERIFY(editor->range().TrimDirty());
        QWidget *highlight = part<QWidget>(editor, "Trim_Range");
        QCOMPARE(highlight->x(), bar->x() + 290);
        QCOMPARE(highlight->width(), FrmEditVideo::BarWidth - 290);

        // A click on the bar moves the player; Set End takes that place.
        QTest::mouseClick(bar, Qt::LeftButton, {}, QPoint(464, bar->height() / 2));
        QCOMPARE(bar->value(), 464);
        part<QPushButton>(editor, "Cmd_Trim_1")->click();
        QCOMPARE(editor->range().endPixel(), 464);
        QCOMPARE(
            part<QLabel>(editor, "lbl_EndTime")->text(), QStringLiteral("End Time : 00:00:08"));
        QCOMPARE(part<QLabel>(editor, "lbl_SelectedTime")->text(), QStringLiteral("00:00:03"));

        // The step buttons move a point by one pixel from where the bar stands.
        part<QPushButton>(editor, "Cmd_Trim_3")->click();
        QCOMPARE(editor->range().endPixel(), 465);
        QTest::mouseClick(bar, Qt::LeftButton, {}, QPoint(290, bar->height() / 2));
        part<QPushButton>(editor, "Cmd_Trim_4")->click();
        QCOMPARE(editor->range().startPixel(), 289);
        const TimeHalves start = editor->range().start();
        const TimeHalves end = editor->range().end();
        QCOMPARE(start, editor->range().timeOf(289));
        QCOMPARE(end, editor->range().timeOf(465));

        MessageWatcher messages(QMessageBox::No);
        part<QPushButton>(editor, "Cmd_Panels_0")->click();
        QVERIFY(waitClosed(editor));
        QVERIFY(messages.texts.isEmpty());

        // What the row holds after a save is TrimRange's (trim_range_test); here: OK saves the
        // range into this row and no other.
        QCOMPARE(m_list.getFieldText(row, Field::TrimStartLow), halfText(start.low));
        QCOMPARE(m_list.getFieldText(row, Field::TrimEndLow), halfText(end.low));
        QCOMPARE(m_list.item(row).durationIcon, int(ListIcon::Trimmed));
        QCOMPARE(m_list.footerDurationText(), QStringLiteral("00:00:13"));
        QCOMPARE(m_list.item(0).durationIcon, int(ListIcon::None));

        // Opening the row again shows the saved range.
        editor = openPlaying(row);
        QVERIFY(editor);
        QCOMPARE(editor->range().start(), start);
        QCOMPARE(editor->range().end(), end);
        editor->close();
        QVERIFY(waitClosed(editor));
    }

    // While the picture plays, a step button first goes back to the trim start and steps from
    // there, not from wherever playback has got to.
    void stepButtonsWhilePlayingStepFromTheTrimStart()
    {
        const int row = addClipRow();
        QPointer<FrmEditVideo> editor = openPlaying(row);
        QVERIFY(editor);
        auto *bar = part<PositionBar>(editor, "ProgressBar_Play");
        auto *play = part<QPushButton>(editor, "Cmd_Player_0");
        dragHandle(part<TrimHandle>(editor, "TrimPoint_Image_0"), bar, 290);
        QCOMPARE(editor->range().startPixel(), 290);
        const auto playOnPastTheStart = [&] {
            play->click();
            return editor->player()->PlayState() == PreviewPlayer::Playing
                && QTest::qWaitFor([&] { return bar->value() > 320; }, 5000);
        };

        QVERIFY(playOnPastTheStart());
        part<QPushButton>(editor, "Cmd_Trim_4")->click();
        QCOMPARE(editor->player()->PlayState(), int(PreviewPlayer::Paused));
        // One step left of 290; the seek to a pixel's time may read back one pixel short.
        const int start = editor->range().startPixel();
        QVERIFY2(start == 289 || start == 288, qPrintable(QString::number(start)));
        QVERIFY(editor->range().TrimDirty());

        QVERIFY(playOnPastTheStart());
        part<QPushButton>(editor, "Cmd_Trim_3")->click();
        QCOMPARE(editor->player()->PlayState(), int(PreviewPlayer::Paused));
        const int end = editor->range().endPixel();
        QVERIFY2(qAbs(end - (start + 1)) <= 1, qPrintable(QString::number(end)));

        MessageWatcher no(QMessageBox::No);
        editor->close();
        QVERIFY(waitClosed(editor));
    }

    // Escape is Cancel: it asks about changes and gives the main window back.
    void escapeClosesLikeCancel()
    {
        const int row = addClipRow();
        QPointer<FrmEditVideo> editor = openPlaying(row);
        QVERIFY(editor);
        dragHandle(part<TrimHandle>(editor, "TrimPoint_Image_1"),
            part<QWidget>(editor, "ProgressBar_Play"), 400);
        QVERIFY(!m_mainWindow.isEnabled());
        MessageWatcher no(QMessageBox::No);
        QTest::keyClick(editor, Qt::Key_Escape);
        QVERIFY(waitClosed(editor));
        QCOMPARE(no.texts, QStringList { QStringLiteral("Do you want to save changes?") });
        QVERIFY(m_mainWindow.isEnabled());
        QVERIFY(!flags().EditWindowOpen);
        QCOMPARE(m_list.item(row).durationIcon, int(ListIcon::None));
    }

    void playSelectionStopsAtTheEndAndReturnsToTheStart()
    {
        const int row = addClipRow();
        QPointer<FrmEditVideo> editor = openPlaying(row);
        QVERIFY(editor);
        auto *bar = part<PositionBar>(editor, "ProgressBar_Play");
        QTest::mouseClick(bar, Qt::LeftButton, {}, QPoint(290, bar->height() / 2));
        part<QPushButton>(editor, "Cmd_Trim_0")->click();
        QTest::mouseClick(bar, Qt::LeftButton, {}, QPoint(348, bar->height() / 2));
        part<QPushButton>(editor, "Cmd_Trim_1")->click();
        QCOMPARE(editor->range().startPixel(), 290);
        QCOMPARE(editor->range().endPixel(), 348);

        // The position now stands at the end: Play Selection reopens the file and plays from
        // the start (5 s), which the player reaches long before it could have played to it.
        part<QPushButton>(editor, "Cmd_Trim_2")->click();
        QCOMPARE(editor->player()->PlayState(), int(PreviewPlayer::Playing));
        QVERIFY(editor->PlayPosition().microseconds() < editor->range().end().microseconds());
        QTRY_VERIFY_WITH_TIMEOUT(editor->player()->position().microseconds() >= 4900000, 1500);
        QTRY_VERIFY_WITH_TIMEOUT(editor->player()->PlayState() == PreviewPlayer::Paused, 8000);
        QCOMPARE(editor->PlayPosition(), editor->range().start());
        QCOMPARE(tagOf(part<QPushButton>(editor, "Cmd_Player_0")), QStringLiteral("Pause"));

        // Cancel after changes asks; No leaves the row as it was.
        MessageWatcher messages(QMessageBox::No);
        part<QPushButton>(editor, "Cmd_Panels_1")->click();
        QVERIFY(waitClosed(editor));
        QCOMPARE(messages.texts, QStringList { QStringLiteral("Do you want to save changes?") });
        QCOMPARE(messages.titles, QStringList { QString() });
        QCOMPARE(m_list.getFieldText(row, Field::TrimStartLow), QStringLiteral("0"));
        QCOMPARE(m_list.item(row).durationIcon, int(ListIcon::None));
    }

    void theEndOfTheFileStopsThePlayer()
    {
        const int row = addClipRow();
        QPointer<FrmEditVideo> editor = openPlaying(row);
        QVERIFY(editor);
        auto *bar = part<PositionBar>(editor, "ProgressBar_Play");
        // A click on the bar ends the play-selection watch; playback runs on to the end.
        QTest::mouseClick(bar, Qt::LeftButton, {}, QPoint(570, bar->height() / 2));
        QTRY_COMPARE_WITH_TIMEOUT(
            tagOf(part<QPushButton>(editor, "Cmd_Player_0")), QStringLiteral("Play"), 8000);
        QCOMPARE(editor->player()->PlayState(), int(PreviewPlayer::Closed));
        QCOMPARE(editor->ResumeAfterSeek(), 2);
        QCOMPARE(bar->value(), 0);
        QVERIFY(!bar->isEnabled());
        QVERIFY(!part<QWidget>(editor, "TrimPoint_Image_1")->isEnabled());
        QCOMPARE(part<QLabel>(editor, "lbl_PlayTime")->property("tag").toString(),
            QStringLiteral("00:00:00.000"));
        editor->close();
        QVERIFY(waitClosed(editor));
    }

    void resetThenCancelAsksNothingAndTheCloseBoxAsksWhenChanged()
    {
        const int row = addClipRow();
        QPointer<FrmEditVideo> editor = openPlaying(row);
        QVERIFY(editor);
        part<QPushButton>(editor, "Cmd_Reset")->click();
        {
            MessageWatcher quiet(QMessageBox::No);
            part<QPushButton>(editor, "Cmd_Panels_1")->click();
            QVERIFY(waitClosed(editor));
            QVERIFY(quiet.texts.isEmpty());
        }

        editor = openPlaying(row);
        QVERIFY(editor);
        dragHandle(part<TrimHandle>(editor, "TrimPoint_Image_1"),
            part<QWidget>(editor, "ProgressBar_Play"), 290);
        QCOMPARE(editor->range().endPixel(), 290);
        part<QPushButton>(editor, "Cmd_Reset")->click();
        QCOMPARE(editor->range().endPixel(), FrmEditVideo::BarWidth);
        QVERIFY(editor->range().TrimDirty()); // Reset keeps the mark
        MessageWatcher yes(QMessageBox::Yes);
        editor->close();
        QVERIFY(waitClosed(editor));
        QCOMPARE(yes.texts, QStringList { QStringLiteral("Do you want to save changes?") });
        QCOMPARE(m_list.item(row).durationCaption, QStringLiteral("  00:00:10"));
        QCOMPARE(m_list.item(row).durationIcon, int(ListIcon::Trimmed));
    }

    void muteAndVolume()
    {
        const int row = addClipRow();
        QPointer<FrmEditVideo> editor = openPlaying(row);
        QVERIFY(editor);
        auto *mute = part<QPushButton>(editor, "Cmd_Player_2");
        auto *volume = part<QSlider>(editor, "Slider_MPVolume");
        QCOMPARE(volume->value(), 100);
        mute->click();
        QCOMPARE(tagOf(mute), QStringLiteral("Off"));
        QVERIFY(editor->player()->muted());
        mute->click();
        QCOMPARE(tagOf(mute), QStringLiteral("On"));
        QVERIFY(!editor->player()->muted());

        volume->setValue(0);
        QCOMPARE(tagOf(mute), QStringLiteral("Off"));
        QVERIFY(editor->player()->muted());
        // Unmuting at volume 0 raises the volume to its maximum first.
        mute->click();
        QCOMPARE(volume->value(), 100);
        QCOMPARE(editor->player()->AudioVolume(), 100);
        QCOMPARE(tagOf(mute), QStringLiteral("On"));
        QVERIFY(!editor->player()->muted());

        volume->setValue(40);
        QCOMPARE(editor->player()->AudioVolume(), 40);
        editor->close();
        QVERIFY(waitClosed(editor));
    }

    void aDurationOfNoWholeSecondWaitsForTheNextActivation()
    {
        const int row = addClipRow();
        m_list.SetField(row, Field::FileDurationLow, QStringLiteral("400000"));
        m_list.SetField(row, Field::TrimEndLow, QStringLiteral("400000"));
        QPointer<FrmEditVideo> editor = openTrimEditor(&m_mainWindow, &m_list, row);
        QVERIFY(editor);
        QTest::qWait(500);
        QVERIFY(!editor->range().activated());
        QCOMPARE(editor->player()->PlayState(), int(PreviewPlayer::Closed));
        QCOMPARE(
            part<QLabel>(editor, "lbl_EndTime")->text(), QStringLiteral("End Time : 00:00:00"));

        m_list.SetField(row, Field::FileDurationLow, QStringLiteral("10000000"));
        m_list.SetField(row, Field::TrimEndLow, QStringLiteral("10000000"));
        QEvent activate(QEvent::WindowActivate);
        QApplication::sendEvent(editor, &activate);
        QTRY_VERIFY_WITH_TIMEOUT(editor->range().activated(), 2000);
        QTRY_COMPARE_WITH_TIMEOUT(editor->player()->PlayState(), int(PreviewPlayer::Playing), 5000);
        editor->close();
        QVERIFY(waitClosed(editor));
    }

    void aMissingFileIsReportedOnce()
    {
        const QString gone = m_dir.filePath(QStringLiteral("gone.mp4"));
        QVERIFY(QFile::copy(m_clip, gone));
        const ProbeResult result = probeMediaFile(gone);
        QVERIFY(result.ok);
        const int row = m_list.appendMediaItem(result.item);
        QVERIFY(QFile::remove(gone));

        MessageWatcher messages(QMessageBox::Ok);
        QPointer<FrmEditVideo> editor = openTrimEditor(&m_mainWindow, &m_list, row);
        QVERIFY(editor);
        QTRY_COMPARE_WITH_TIMEOUT(messages.texts.size(), 1, 5000);
        QTest::qWait(200);
        QCOMPARE(messages.texts, QStringList { QStringLiteral("File not found!\n") + gone });
        QCOMPARE(messages.titles, QStringList { QString() });
        QCOMPARE(editor->player()->PlayState(), int(PreviewPlayer::Closed));
        QCOMPARE(tagOf(part<QPushButton>(editor, "Cmd_Player_0")), QStringLiteral("Play"));

        editor->close();
        QVERIFY(waitClosed(editor));
    }

    void aPlayerErrorIsAWarningWithoutATitle()
    {
        const QString broken = m_dir.filePath(QStringLiteral("broken.mp4"));
        QFile file(broken);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(4096, 'x'));
        file.close();
        const int row = addClipRow();
        m_list.SetField(row, Field::Name, QStringLiteral("broken.mp4"));

        MessageWatcher messages(QMessageBox::Ok);
        QPointer<FrmEditVideo> editor = openTrimEditor(&m_mainWindow, &m_list, row);
        QVERIFY(editor);
        QTRY_VERIFY_WITH_TIMEOUT(!messages.titles.isEmpty(), 8000);
        QCOMPARE(messages.titles.first(), QString());
        QCOMPARE(messages.icons.first(), QMessageBox::Warning);
        QTRY_COMPARE_WITH_TIMEOUT(
            tagOf(part<QPushButton>(editor, "Cmd_Player_0")), QStringLiteral("Play"), 3000);
        editor->close();
        QVERIFY(waitClosed(editor));
    }
};

QTEST_MAIN(FrmEditVideoTest)
#include "frm_edit_video_test.moc"
