#include "gui/edit/player_command.h"
#include "gui/edit/preview_player.h"
#include "support/media_maker.h"

#include <QApplication>
#include <QAudioDevice>
#include <QFile>
#include <QMediaDevices>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QWidget>

using namespace sonivert;

namespace {

int64_t lastPosition(const QSignalSpy &spy)
{
    const QList<QVariant> &args = spy.last();
    return TimeHalves { args.at(0).toInt(), args.at(1).toInt() }.microseconds();
}

} // namespace

class PreviewPlayerTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString m_clip;

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_clip = m_dir.filePath(QStringLiteral("clip.mp4"));
        test::ClipOptions options;
        options.seconds = 3.0;
        options.width = 160;
        options.height = 120;
        QVERIFY(test::makeClip(m_clip, options));
    }

    void soundGoesOutOnlyWithADevice()
    {
        PreviewPlayer player;
        QCOMPARE(player.hasAudioOutput(), !QMediaDevices::audioOutputs().isEmpty());
        // Volume and mute are kept for when a device turns up.
        player.setAudioVolume(140);
        QCOMPARE(player.AudioVolume(), 100);
        player.setAudioVolume(30);
        player.setMute(true);
        QCOMPARE(player.AudioVolume(), 30);
        QVERIFY(player.muted());
    }

    void opensPlaysSeeksPausesAndEnds()
    {
        QWidget area;
        area.resize(320, 240);
        area.show();
        PreviewPlayer player;
        QVERIFY(player.LoadEngine(true, QString()));
        QVERIFY(player.IsEngineLoaded());
        QCOMPARE(player.PlayState(), int(PreviewPlayer::Closed));
        QCOMPARE(player.HasOpenMedia(), 0);

        QSignalSpy opened(&player, &PreviewPlayer::MediaOpened);
        QSignalSpy positions(&player, &PreviewPlayer::PositionChanged);
        QSignalSpy states(&player, &PreviewPlayer::StateChanged);
        QSignalSpy errors(&player, &PreviewPlayer::errorOccurred);

        player.OpenMedia(m_clip, &area, true);
        QTRY_COMPARE_WITH_TIMEOUT(opened.count(), 1, 10000);
        const int64_t duration
            = TimeHalves { opened.at(0).at(0).toInt(), opened.at(0).at(1).toInt() }.microseconds();
        QVERIFY2(duration >= 2900000 && duration <= 3100000, qPrintable(QString::number(duration)));
        QVERIFY(player.HasOpenMedia() != 0);
        QCOMPARE(player.PlayState(), int(PreviewPlayer::Paused));
        QVERIFY(player.VideoWindowHandle());
        QCOMPARE(player.VideoWindowHandle()->parentWidget(), &area);

        player.TogglePause();
        QCOMPARE(player.PlayState(), int(PreviewPlayer::Playing));
        QTRY_VERIFY_WITH_TIMEOUT(!positions.isEmpty() && lastPosition(positions) > 0, 5000);

        player.SeekTo(TimeHalves::fromMicroseconds(2000000));
        QTRY_VERIFY_WITH_TIMEOUT(lastPosition(positions) >= 2000000, 5000);

        player.TogglePause();
        QCOMPARE(player.PlayState(), int(PreviewPlayer::Paused));
        const int64_t held = player.position().microseconds();
        QTest::qWait(300);
        QVERIFY(player.position().microseconds() - held < 50000);

        player.TogglePause();
        QTRY_VERIFY_WITH_TIMEOUT(
            states.contains(QList<QVariant> { int(PreviewPlayer::EndOfPlayback) }), 10000);
        QCOMPARE(errors.count(), 0);

        player.CloseMedia();
        QCOMPARE(player.HasOpenMedia(), 0);
        QCOMPARE(player.PlayState(), int(PreviewPlayer::Closed));
        QVERIFY(!player.VideoWindowHandle()->isVisible());
        // A seek or toggle without a medium is ignored.
        player.SeekTo(TimeHalves::fromMicroseconds(1000000));
        player.TogglePause();
        QCOMPARE(player.PlayState(), int(PreviewPlayer::Closed));
    }

    void commandsOpenPausedThenPlay()
    {
        QWidget area;
        area.resize(320, 240);
        area.show();
        PreviewPlayer player;
        PlayerLaunchSettings settings;
        settings.fileName = m_clip;
        settings.videoWindow = &area;

        QVERIFY(PlayerCommand(player, PlayerInit, settings));
        QVERIFY(player.IsEngineLoaded());
        QCOMPARE(player.PlayState(), int(PreviewPlayer::Paused));
        QVERIFY(PlayerCommand(player, PlayerPlay, settings));
        QCOMPARE(player.PlayState(), int(PreviewPlayer::Playing));
        QVERIFY(PlayerCommand(player, PlayerPause, settings));
        QCOMPARE(player.PlayState(), int(PreviewPlayer::Paused));
        QVERIFY(PlayerCommand(player, PlayerStop, settings));
        QCOMPARE(player.PlayState(), int(PreviewPlayer::Closed));
        // Play with nothing open opens the file playing.
        QVERIFY(PlayerCommand(player, PlayerPlay, settings));
        QCOMPARE(player.PlayState(), int(PreviewPlayer::Playing));
        player.CloseMedia();
    }

    void aBrokenFileReportsAnErrorLater()
    {
        const QString broken = m_dir.filePath(QStringLiteral("broken.mp4"));
        QFile file(broken);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(4096, 'x'));
        file.close();

        QWidget area;
        area.resize(320, 240);
        PreviewPlayer player;
        QSignalSpy errors(&player, &PreviewPlayer::errorOccurred);
        player.OpenMedia(broken, &area, true);
        // Never inside the call that opened it.
        QCOMPARE(errors.count(), 0);
        QTRY_COMPARE_WITH_TIMEOUT(errors.count(), 1, 10000);
        QVERIFY(!errors.at(0).at(0).toString().isEmpty());
        QCOMPARE(player.LastErrorText(), errors.at(0).at(0).toString());
        player.CloseMedia();
    }
};

QTEST_MAIN(PreviewPlayerTest)
#include "preview_player_test.moc"
