#include "core/app/app_flags.h"
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
        : answer_(answer)
    {
        timer_.setInterval(20);
        QObject::connect(&timer_, &QTimer::timeout, this, [this] {
            auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
            if (!box)
                return;
            texts << box->text();
            titles << box->windowTitle();
            icons << box->icon();
            box->button(answer_)->click();
        });
        timer_.start();
    }

    QStringList texts;
    QStringList titles;
    QList<QMessageBox::Icon> icons;

private:
    QMessageBox::StandardButton answer_;
    QTimer timer_;
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
    QTemporaryDir dir_;
    QString clip_;
    MediaItem probed_;
    QWidget mainWindow_;
    FileListModel list_;

    int addClipRow()
    {
        const int row = list_.AppendMediaItem(probed_);
        list_.UpdateListFooter();
        return row;
    }

    // Opens the editor and waits until the selection plays by itself.
    FrmEditVideo *openPlaying(int row)
    {
        FrmEditVideo *editor = OpenTrimEditor(&mainWindow_, &list_, row);
        if (!editor)
            return nullptr;
        // Playing, and the picture actually moving on.
        if (!QTest::qWaitFor(
                [&] {
                    return editor->Player()->PlayState() == PreviewPlayer::Playing
                        && editor->Player()->Position().Microseconds()
                        > editor->Range().Start().Microseconds() + 100000;
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
        QVERIFY(dir_.isValid());
        clip_ = dir_.filePath(QStringLiteral("clip.mp4"));
        test::ClipOptions options;
        options.seconds = 10.0;
        QVERIFY(test::MakeClip(clip_, options));
        const ProbeResult result = ProbeMediaFile(clip_);
        QVERIFY2(result.ok, qPrintable(result.message));
        probed_ = result.item;
        QCOMPARE(probed_.Text(Field::Duration), QStringLiteral("00:00:10"));
        mainWindow_.resize(800, 600);
        mainWindow_.show();
    }

    void cleanup()
    {
        // A failed test may leave its editor open; the next one starts without it.
        if (QPointer<FrmEditVideo> left = FrmEditVideo::Current()) {
            MessageWatcher no(QMessageBox::No);
            left->close();
            QVERIFY(waitClosed(left));
            QFAIL("the editor was left open");
        }
        list_.ClearMediaItems();
        QVERIFY(mainWindow_.isEnabled());
        QVERIFY(!Flags().EditWindowOpen);
    }

    void opensOverTheDisabledMainWindowAndPlays()
    {
        const int row = addClipRow();
        QCOMPARE(OpenTrimEditor(&mainWindow_, &list_, list_.Count()), nullptr);
        QCOMPARE(OpenTrimEditor(&mainWindow_, nullptr, row), nullptr);

        QPointer<FrmEditVideo> editor = openPlaying(row);
        QVERIFY(editor);
        QCOMPARE(FrmEditVideo::Current(), editor.data());
        QCOMPARE(editor->windowTitle(), QStringLiteral("Trim - clip.mp4"));
        QVERIFY(!mainWindow_.isEnabled());
        QVERIFY(Flags().EditWindowOpen);
        QCOMPARE(OpenTrimEditor(&mainWindow_, &list_, row), editor.data());

        QCOMPARE(
            part<QLabel>(editor, "lbl_StartTime")->text(), QStringLiteral("Start Time : 00:00:00"));
        QCOMPARE(
            part<QLabel>(editor, "lbl_EndTime")->text(), QStringLiteral("End Time : 00:00:10"));
        QCOMPARE(part<QLabel>(editor, "lbl_SelectedTime")->text(), QStringLiteral("00:00:10"));
        QCOMPARE(part<TrimHandle>(editor, "TrimPoint_Image_0")->Tag(), QStringLiteral("0"));
        QCOMPARE(part<TrimHandle>(editor, "TrimPoint_Image_1")->Tag(),
            QString::number(FrmEditVideo::BarWidth));
        QCOMPARE(part<QProgressBar>(editor, "ProgressBar_Play")->maximum(), FrmEditVideo::BarWidth);
        QCOMPARE(tagOf(part<QPushButton>(editor, "Cmd_Player_0")), QStringLiteral("Pause"));
        QVERIFY(part<QPushButton>(editor, "Cmd_Player_1")->isEnabled());
        QVERIFY(part<QWidget>(editor, "TrimPoint_Image_0")->isEnabled());
        QVERIFY(!editor->Range().TrimDirty());
        QTRY_VERIFY_WITH_TIMEOUT(editor->PlayPosition().Microseconds() > 0, 5000);
        QVERIFY(part<QProgressBar>(editor, "ProgressBar_Play")->value() >= 0);

        // Pause and play again through the button.
        auto *play = part<QPushButton>(editor, "Cmd_Player_0");
        play->click();
        QCOMPARE(editor->Player()->PlayState(), int(PreviewPlayer::Paused));
        QCOMPARE(editor->ResumeAfterSeek(), 1);
        play->click();
        QCOMPARE(editor->Player()->PlayState(), int(PreviewPlayer::Playing));
        QCOMPARE(editor->ResumeAfterSeek(), 0);

        // Nothing changed: Cancel closes without a question.
        MessageWatcher messages(QMessageBox::No);
        part<QPushButton>(editor, "Cmd_Panels_1")->click();
        QVERIFY(waitClosed(editor));
        QVERIFY(messages.texts.isEmpty());
        QCOMPARE(list_.Item(row).durationIcon, int(ListIcon::None));
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
        QCOMPARE(editor->Range().StartPixel(), 290);
        QCOMPARE(startHandle->Tag(), QStringLiteral("290"));
        QCOMPARE(startHandle->geometry().right() + 1, bar->x() + 290);
        QCOMPARE(editor->Player()->PlayState(), int(PreviewPlayer::Paused));
        QCOMPARE(editor->LastSeekTime(), editor->Range().TimeOf(290));
        QCOMPARE(
            part<QLabel>(editor, "lbl_StartTime")->text(), QStringLiteral("Start Time : 00:00:05"));
        QVERIFY(editor->Range().TrimDirty());
        QWidget *highlight = part<QWidget>(editor, "Trim_Range");
        QCOMPARE(highlight->x(), bar->x() + 290);
        QCOMPARE(highlight->width(), FrmEditVideo::BarWidth - 290);

        // A click on the bar moves the player; Set End takes that place.
        QTest::mouseClick(bar, Qt::LeftButton, {}, QPoint(464, bar->height() / 2));
        QCOMPARE(bar->value(), 464);
        part<QPushButton>(editor, "Cmd_Trim_1")->click();
        QCOMPARE(editor->Range().EndPixel(), 464);
        QCOMPARE(
            part<QLabel>(editor, "lbl_EndTime")->text(), QStringLiteral("End Time : 00:00:08"));
        QCOMPARE(part<QLabel>(editor, "lbl_SelectedTime")->text(), QStringLiteral("00:00:03"));

        // The step buttons move a point by one pixel from where the bar stands.
        part<QPushButton>(editor, "Cmd_Trim_3")->click();
        QCOMPARE(editor->Range().EndPixel(), 465);
        QTest::mouseClick(bar, Qt::LeftButton, {}, QPoint(290, bar->height() / 2));
        part<QPushButton>(editor, "Cmd_Trim_4")->click();
        QCOMPARE(editor->Range().StartPixel(), 289);
        const TimeHalves start = editor->Range().Start();
        const TimeHalves end = editor->Range().End();
        QCOMPARE(start, editor->Range().TimeOf(289));
        QCOMPARE(end, editor->Range().TimeOf(465));

        MessageWatcher messages(QMessageBox::No);
        part<QPushButton>(editor, "Cmd_Panels_0")->click();
        QVERIFY(waitClosed(editor));
        QVERIFY(messages.texts.isEmpty());

        // What the row holds after a save is TrimRange's (trim_range_test); here: OK saves the
        // range into this row and no other.
        QCOMPARE(list_.GetFieldText(row, Field::TrimStartLow), HalfText(start.low));
        QCOMPARE(list_.GetFieldText(row, Field::TrimEndLow), HalfText(end.low));
        QCOMPARE(list_.Item(row).durationIcon, int(ListIcon::Trimmed));
        QCOMPARE(list_.FooterDurationText(), QStringLiteral("00:00:13"));
        QCOMPARE(list_.Item(0).durationIcon, int(ListIcon::None));

        // Opening the row again shows the saved range.
        editor = openPlaying(row);
        QVERIFY(editor);
        QCOMPARE(editor->Range().Start(), start);
        QCOMPARE(editor->Range().End(), end);
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
        QCOMPARE(editor->Range().StartPixel(), 290);
        const auto playOnPastTheStart = [&] {
            play->click();
            return editor->Player()->PlayState() == PreviewPlayer::Playing
                && QTest::qWaitFor([&] { return bar->value() > 320; }, 5000);
        };

        QVERIFY(playOnPastTheStart());
        part<QPushButton>(editor, "Cmd_Trim_4")->click();
        QCOMPARE(editor->Player()->PlayState(), int(PreviewPlayer::Paused));
        // One step left of 290; the seek to a pixel's time may read back one pixel short.
        const int start = editor->Range().StartPixel();
        QVERIFY2(start == 289 || start == 288, qPrintable(QString::number(start)));
        QVERIFY(editor->Range().TrimDirty());

        QVERIFY(playOnPastTheStart());
        part<QPushButton>(editor, "Cmd_Trim_3")->click();
        QCOMPARE(editor->Player()->PlayState(), int(PreviewPlayer::Paused));
        const int end = editor->Range().EndPixel();
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
        QVERIFY(!mainWindow_.isEnabled());
        MessageWatcher no(QMessageBox::No);
        QTest::keyClick(editor, Qt::Key_Escape);
        QVERIFY(waitClosed(editor));
        QCOMPARE(no.texts, QStringList { QStringLiteral("Do you want to save changes?") });
        QVERIFY(mainWindow_.isEnabled());
        QVERIFY(!Flags().EditWindowOpen);
        QCOMPARE(list_.Item(row).durationIcon, int(ListIcon::None));
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
        QCOMPARE(editor->Range().StartPixel(), 290);
        QCOMPARE(editor->Range().EndPixel(), 348);

        // The position now stands at the end: Play Selection reopens the file and plays from
        // the start (5 s), which the player reaches long before it could have played to it.
        part<QPushButton>(editor, "Cmd_Trim_2")->click();
        QCOMPARE(editor->Player()->PlayState(), int(PreviewPlayer::Playing));
        QVERIFY(editor->PlayPosition().Microseconds() < editor->Range().End().Microseconds());
        QTRY_VERIFY_WITH_TIMEOUT(editor->Player()->Position().Microseconds() >= 4900000, 1500);
        QTRY_VERIFY_WITH_TIMEOUT(editor->Player()->PlayState() == PreviewPlayer::Paused, 8000);
        QCOMPARE(editor->PlayPosition(), editor->Range().Start());
        QCOMPARE(tagOf(part<QPushButton>(editor, "Cmd_Player_0")), QStringLiteral("Pause"));

        // Cancel after changes asks; No leaves the row as it was.
        MessageWatcher messages(QMessageBox::No);
        part<QPushButton>(editor, "Cmd_Panels_1")->click();
        QVERIFY(waitClosed(editor));
        QCOMPARE(messages.texts, QStringList { QStringLiteral("Do you want to save changes?") });
        QCOMPARE(messages.titles, QStringList { QString() });
        QCOMPARE(list_.GetFieldText(row, Field::TrimStartLow), QStringLiteral("0"));
        QCOMPARE(list_.Item(row).durationIcon, int(ListIcon::None));
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
        QCOMPARE(editor->Player()->PlayState(), int(PreviewPlayer::Closed));
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
        QCOMPARE(editor->Range().EndPixel(), 290);
        part<QPushButton>(editor, "Cmd_Reset")->click();
        QCOMPARE(editor->Range().EndPixel(), FrmEditVideo::BarWidth);
        QVERIFY(editor->Range().TrimDirty()); // Reset keeps the mark
        MessageWatcher yes(QMessageBox::Yes);
        editor->close();
        QVERIFY(waitClosed(editor));
        QCOMPARE(yes.texts, QStringList { QStringLiteral("Do you want to save changes?") });
        QCOMPARE(list_.Item(row).durationCaption, QStringLiteral("  00:00:10"));
        QCOMPARE(list_.Item(row).durationIcon, int(ListIcon::Trimmed));
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
        QVERIFY(editor->Player()->Muted());
        mute->click();
        QCOMPARE(tagOf(mute), QStringLiteral("On"));
        QVERIFY(!editor->Player()->Muted());

        volume->setValue(0);
        QCOMPARE(tagOf(mute), QStringLiteral("Off"));
        QVERIFY(editor->Player()->Muted());
        // Unmuting at volume 0 raises the volume to its maximum first.
        mute->click();
        QCOMPARE(volume->value(), 100);
        QCOMPARE(editor->Player()->AudioVolume(), 100);
        QCOMPARE(tagOf(mute), QStringLiteral("On"));
        QVERIFY(!editor->Player()->Muted());

        volume->setValue(40);
        QCOMPARE(editor->Player()->AudioVolume(), 40);
        editor->close();
        QVERIFY(waitClosed(editor));
    }

    void aDurationOfNoWholeSecondWaitsForTheNextActivation()
    {
        const int row = addClipRow();
        list_.SetField(row, Field::FileDurationLow, QStringLiteral("400000"));
        list_.SetField(row, Field::TrimEndLow, QStringLiteral("400000"));
        QPointer<FrmEditVideo> editor = OpenTrimEditor(&mainWindow_, &list_, row);
        QVERIFY(editor);
        QTest::qWait(500);
        QVERIFY(!editor->Range().Activated());
        QCOMPARE(editor->Player()->PlayState(), int(PreviewPlayer::Closed));
        QCOMPARE(
            part<QLabel>(editor, "lbl_EndTime")->text(), QStringLiteral("End Time : 00:00:00"));

        list_.SetField(row, Field::FileDurationLow, QStringLiteral("10000000"));
        list_.SetField(row, Field::TrimEndLow, QStringLiteral("10000000"));
        QEvent activate(QEvent::WindowActivate);
        QApplication::sendEvent(editor, &activate);
        QTRY_VERIFY_WITH_TIMEOUT(editor->Range().Activated(), 2000);
        QTRY_COMPARE_WITH_TIMEOUT(editor->Player()->PlayState(), int(PreviewPlayer::Playing), 5000);
        editor->close();
        QVERIFY(waitClosed(editor));
    }

    void aMissingFileIsReportedOnce()
    {
        const QString gone = dir_.filePath(QStringLiteral("gone.mp4"));
        QVERIFY(QFile::copy(clip_, gone));
        const ProbeResult result = ProbeMediaFile(gone);
        QVERIFY(result.ok);
        const int row = list_.AppendMediaItem(result.item);
        QVERIFY(QFile::remove(gone));

        MessageWatcher messages(QMessageBox::Ok);
        QPointer<FrmEditVideo> editor = OpenTrimEditor(&mainWindow_, &list_, row);
        QVERIFY(editor);
        QTRY_COMPARE_WITH_TIMEOUT(messages.texts.size(), 1, 5000);
        QTest::qWait(200);
        QCOMPARE(messages.texts, QStringList { QStringLiteral("File not found!\n") + gone });
        QCOMPARE(messages.titles, QStringList { QString() });
        QCOMPARE(editor->Player()->PlayState(), int(PreviewPlayer::Closed));
        QCOMPARE(tagOf(part<QPushButton>(editor, "Cmd_Player_0")), QStringLiteral("Play"));

        editor->close();
        QVERIFY(waitClosed(editor));
    }

    void aPlayerErrorIsAWarningWithoutATitle()
    {
        const QString broken = dir_.filePath(QStringLiteral("broken.mp4"));
        QFile file(broken);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(4096, 'x'));
        file.close();
        const int row = addClipRow();
        list_.SetField(row, Field::Name, QStringLiteral("broken.mp4"));

        MessageWatcher messages(QMessageBox::Ok);
        QPointer<FrmEditVideo> editor = OpenTrimEditor(&mainWindow_, &list_, row);
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
