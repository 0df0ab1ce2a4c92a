// The list's menu of a row of two audio tracks: one of them, or each into a file of its own, is
// what the window then converts.
#include "core/app/app_flags.h"
#include "core/app/folders.h"
#include "core/formats/output_settings.h"
#include "core/media/file_list_model.h"
#include "core/media/probe.h"
#include "gui/app/main_window.h"
#include "gui/media/file_view_main.h"
#include "support/media_maker.h"
#include "support/modal_watcher.h"

#include <QDir>
#include <QLineEdit>
#include <QMenu>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace sonivert;
using namespace Qt::StringLiterals;

namespace {

const QString Key = u"Software/Corvallo/Sonivert"_s;

} // namespace

class AudioTrackMenuTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<MainWindow> m_window;
    QTemporaryDir m_media;
    QTemporaryDir m_out;
    QString m_two; // English AAC of 2 s, then French AC-3 of 1 s

    QStringList outputFiles() const
    {
        return QDir(m_out.path()).entryList(QDir::Files | QDir::Hidden, QDir::Name);
    }

    // The list's menu as it opens on the first row.
    QMenu *openMenu()
    {
        m_window->fileView()->selectAndReveal(0);
        emit m_window->fileView()->customContextMenuRequested(QPoint(4, 4));
        auto *menu = m_window->findChild<QMenu *>(u"mnuFileLists"_s);
        if (menu)
            menu->hide();
        return menu;
    }

    void convert()
    {
        test::ModalWatcher watcher;
        QSignalSpy finished(m_window.get(), &MainWindow::runFinished);
        m_window->convertCommand();
        QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, 60000);
    }

private slots:
    void initTestCase()
    {
        SetupFolders(QStringLiteral(SONIVERT_BIN_DIR), Key);
        m_two = m_media.filePath(u"two.mkv"_s);
        QVERIFY(test::runFfmpeg(
            { u"-f"_s, u"lavfi"_s, u"-i"_s, u"testsrc=size=32x32:rate=5:duration=2"_s, u"-f"_s,
                u"lavfi"_s, u"-i"_s, u"sine=f=440:sample_rate=48000:duration=2"_s, u"-f"_s,
                u"lavfi"_s, u"-i"_s, u"sine=f=660:sample_rate=44100:duration=1"_s, u"-map"_s,
                u"0:v"_s, u"-map"_s, u"1:a"_s, u"-map"_s, u"2:a"_s, u"-c:v"_s, u"mpeg4"_s,
                u"-c:a:0"_s, u"aac"_s, u"-c:a:1"_s, u"ac3"_s, u"-metadata:s:a:0"_s,
                u"language=eng"_s, u"-metadata:s:a:1"_s, u"language=fra"_s, m_two }));
    }

    void init()
    {
        flags() = AppFlags {};
        QDir(m_out.path()).removeRecursively();
        QDir().mkpath(m_out.path());
        m_window = std::make_unique<MainWindow>(
            MainWindow::Identity { u"Corvallo"_s, u"Sonivert"_s, Key });
        m_window->load({});
        m_window->show();
        appOutputSettings().selectFormat(u"Original audio (no re-encoding)"_s);
        m_window->findChild<QLineEdit *>(u"Txt_OutputPath"_s)->setText(m_out.path() + u'/');
        QTRY_VERIFY_WITH_TIMEOUT(m_window->listButton(BtnAddFiles)->isEnabled(), 2000);
        QSignalSpy imported(m_window.get(), &MainWindow::importFinished);
        m_window->ImportFiles({ m_two });
        QTRY_COMPARE_WITH_TIMEOUT(imported.count(), 1, 10000);
    }

    void cleanup() { m_window.reset(); }

    void theMenuOffersEveryTrack()
    {
        QMenu *menu = openMenu();
        QVERIFY(menu);
        auto *tracks = menu->findChild<QMenu *>(u"mnuFileList_AudioTrack"_s);
        QVERIFY(tracks && tracks->menuAction()->isVisible() && tracks->menuAction()->isEnabled());
        QStringList texts;
        for (QAction *action : tracks->actions()) {
            if (!action->isSeparator())
                texts << action->text();
        }
        QCOMPARE(texts,
            (QStringList { u"Track 1: eng, Advanced Audio Coding, 1 channel"_s,
                u"Track 2: fra, AC-3, 1 channel"_s, u"All tracks (a file each)"_s }));
        QVERIFY(tracks->findChild<QAction *>(u"mnuAudioTrack_1"_s)->isChecked());
    }

    void theSecondTrackIsConverted()
    {
        QMenu *menu = openMenu();
        menu->findChild<QAction *>(u"mnuAudioTrack_2"_s)->trigger();
        const FileListModel *list = m_window->fileList();
        QCOMPARE(list->index(0, Field::Name).data().toString(), u"two.mkv  [track 2 (fra)]"_s);
        QCOMPARE(list->item(0).integer(Field::AudioSampleRate), 44100);
        convert();
        QCOMPARE(outputFiles(), QStringList { u"two.AC3"_s });
        QCOMPARE(list->getFieldText(0, Field::State), u"Done"_s);
    }

    void allTracksGiveAFileEach()
    {
        openMenu()->findChild<QAction *>(u"mnuAudioTrack_All"_s)->trigger();
        QVERIFY(m_window->fileList()->item(0).allAudioTracks);
        convert();
        QCOMPARE(outputFiles(),
            (QStringList { u"two (track 1, eng).M4A"_s, u"two (track 2, fra).AC3"_s }));
        QCOMPARE(m_window->fileList()->getFieldText(0, Field::State), u"Done"_s);
        const ProbeResult second = probeMediaFile(m_out.filePath(u"two (track 2, fra).AC3"_s));
        QVERIFY(second.ok);
        QCOMPARE(second.item.integer(Field::AudioSampleRate), 44100);
    }
};

QTEST_MAIN(AudioTrackMenuTest)
#include "audio_track_menu_test.moc"
