#include "gui/app/drop_controller.h"

#include <QDir>
#include <QDropEvent>
#include <QFile>
#include <QLabel>
#include <QMimeData>
#include <QPointer>
#include <QProgressBar>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>
#include <QWidget>
#include <memory>
#include <optional>

using namespace sonivert;

namespace {

bool touch(const QString &path)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly);
}

std::unique_ptr<QMimeData> uriList(const QStringList &paths, const QList<QUrl> &extra = {})
{
    auto mime = std::make_unique<QMimeData>();
    QList<QUrl> urls;
    for (const QString &path : paths)
        urls.append(QUrl::fromLocalFile(path));
    mime->setUrls(urls + extra);
    return mime;
}

struct Dropped
{
    QStringList accepted;
    QStringList refused;
    bool windowEnabled = false;
    QString totalText; // what the wait window said last
};

} // namespace

class DropControllerTest : public QObject
{
    Q_OBJECT
private:
    QTemporaryDir m_dir;
    int m_runState = 0;
    std::optional<Dropped> m_result;
    int m_calls = 0;
    QWidget m_window;
    QPointer<QWidget> m_waitWindow;
    bool m_eventAccepted = false;
    Qt::DropAction m_eventAction = Qt::IgnoreAction;
    std::unique_ptr<DropController> m_controller;

    QString path(const QString &relative) const { return m_dir.filePath(relative); }

    bool drop(const QMimeData &mime, Qt::DropActions actions = Qt::CopyAction | Qt::MoveAction)
    {
        QDropEvent event(QPointF(10, 10), actions, &mime, Qt::LeftButton, Qt::NoModifier);
        const bool taken = m_controller->handleDrop(&event, &m_window);
        m_eventAccepted = event.isAccepted();
        m_eventAction = event.dropAction();
        m_waitWindow = m_window.findChild<QWidget *>(QStringLiteral("frmWaitDragDrop"));
        return taken;
    }

private slots:
    void init()
    {
        QVERIFY(m_dir.isValid());
        m_runState = 0;
        m_result.reset();
        m_calls = 0;
        m_window.setEnabled(true);
        m_controller = std::make_unique<DropController>([this] { return m_runState == 0; },
            [this](const QStringList &accepted, const QStringList &refused) {
                ++m_calls;
                Dropped result { accepted, refused, m_window.isEnabled(), {} };
                if (m_waitWindow) {
                    if (auto *label
                        = m_waitWindow->findChild<QLabel *>(QStringLiteral("lbl_TotalFile")))
                        result.totalText = label->text();
                }
                m_result = result;
            });
        m_controller->setExtensionList(QStringLiteral("|avi|mkv|mp4|"));
    }

    void folderDropImportsSupportedFilesLastFoundFirst()
    {
        QVERIFY(touch(path(QStringLiteral("f/one/a.mp4"))));
        QVERIFY(touch(path(QStringLiteral("f/one/two/b.MKV"))));
        QVERIFY(touch(path(QStringLiteral("f/three/deep/c.avi"))));
        QVERIFY(touch(path(QStringLiteral("f/three/notes.txt"))));

        int hookCalls = 0;
        m_controller->setAboutToScan([&hookCalls] { ++hookCalls; });
        const auto mime = uriList(
            { path(QStringLiteral("f")) }, { QUrl(QStringLiteral("https://example.org/x.mp4")) });
        QVERIFY(drop(*mime));
        QVERIFY(m_eventAccepted);
        QCOMPARE(m_eventAction, Qt::CopyAction);
        QCOMPARE(hookCalls, 1);
        QVERIFY(!m_window.isEnabled());
        QVERIFY(m_waitWindow);
        QVERIFY(m_waitWindow->findChild<QProgressBar *>(QStringLiteral("ProgressBar1")));
        QVERIFY(m_controller->isBusy());

        QTRY_VERIFY(m_result.has_value());
        QCOMPARE(m_calls, 1);
        QCOMPARE(m_result->accepted,
            (QStringList { path(QStringLiteral("f/three/deep/c.avi")),
                path(QStringLiteral("f/one/two/b.MKV")), path(QStringLiteral("f/one/a.mp4")) }));
        QVERIFY(m_result->refused.isEmpty());
        QVERIFY(m_result->windowEnabled);
        QCOMPARE(m_result->totalText, QStringLiteral("Total File: 4"));
        QTRY_VERIFY(m_waitWindow.isNull());
        QVERIFY(!m_controller->isBusy());
    }

    void unsupportedOnlyDropIsReportedAsRefused()
    {
        QVERIFY(touch(path(QStringLiteral("u/readme.txt"))));
        QVERIFY(touch(path(QStringLiteral("u/song.mp3"))));
        QVERIFY(touch(path(QStringLiteral("loose.doc"))));

        const auto mime = uriList({ path(QStringLiteral("loose.doc")), path(QStringLiteral("u")) });
        QVERIFY(drop(*mime));
        QTRY_VERIFY(m_result.has_value());
        QVERIFY(m_result->accepted.isEmpty());
        QCOMPARE(m_result->refused,
            (QStringList { path(QStringLiteral("loose.doc")), path(QStringLiteral("u/readme.txt")),
                path(QStringLiteral("u/song.mp3")) }));
    }

    void dropsAreRefusedUnlessIdleAndLocal()
    {
        QVERIFY(touch(path(QStringLiteral("r/a.mp4"))));
        const auto files = uriList({ path(QStringLiteral("r/a.mp4")) });

        for (int state : { 1, 2 }) {
            m_runState = state;
            QDragEnterEvent enter(
                QPoint(5, 5), Qt::CopyAction, files.get(), Qt::LeftButton, Qt::NoModifier);
            QVERIFY(!m_controller->handleDragEnter(&enter));
            QVERIFY(!enter.isAccepted());
            QVERIFY(!drop(*files));
            QVERIFY(!m_eventAccepted);
        }
        m_runState = 0;

        QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction | Qt::MoveAction, files.get(),
            Qt::LeftButton, Qt::NoModifier);
        QVERIFY(m_controller->handleDragEnter(&enter));
        QVERIFY(enter.isAccepted());
        QCOMPARE(enter.dropAction(), Qt::CopyAction);

        // Only a move offered: taking it would let the source be deleted.
        QVERIFY(!drop(*files, Qt::MoveAction));

        auto remote = std::make_unique<QMimeData>();
        remote->setUrls({ QUrl(QStringLiteral("sftp://host/a.mp4")) });
        QVERIFY(!drop(*remote));
        auto text = std::make_unique<QMimeData>();
        text->setText(path(QStringLiteral("r/a.mp4")));
        QVERIFY(!drop(*text));

        QTest::qWait(50);
        QCOMPARE(m_calls, 0);
        QVERIFY(m_window.isEnabled());
        QVERIFY(!m_waitWindow);
    }

    void secondDropWhileScanningIsRefused()
    {
        QVERIFY(touch(path(QStringLiteral("s/a.mp4"))));
        const auto files = uriList({ path(QStringLiteral("s")) });
        QVERIFY(drop(*files));
        QVERIFY(!drop(*files));
        QTRY_VERIFY(m_result.has_value());
        QTest::qWait(50);
        QCOMPARE(m_calls, 1);
        QCOMPARE(m_result->accepted, QStringList { path(QStringLiteral("s/a.mp4")) });
    }
};

QTEST_MAIN(DropControllerTest)
#include "drop_controller_test.moc"
