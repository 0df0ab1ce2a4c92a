#include "gui/app/completion_dialog.h"
#include "gui/app/messages.h"
#include "gui/app/open_folder.h"
#include "gui/app/startup.h"
#include "support/modal_watcher.h"

#include <QApplication>
#include <QDesktopServices>
#include <QDir>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QUrl>
#include <QWindow>

using namespace sonivert;

// Stands in for the desktop's file manager: records every local URL the program opens, and
// whether a modal window was still up at that moment.
class UrlRecorder : public QObject
{
    Q_OBJECT
public:
    QStringList opened;
    bool modalWasUp = false;

public slots:
    void open(const QUrl &url)
    {
        opened << url.toLocalFile();
        modalWasUp = modalWasUp || QApplication::activeModalWidget() != nullptr;
    }
};

class MessagesTest : public QObject
{
    Q_OBJECT

private:
    UrlRecorder recorder;

private slots:
    void initTestCase()
    {
        QDesktopServices::setUrlHandler(QStringLiteral("file"), &recorder, "open");
    }
    void init()
    {
        recorder.opened.clear();
        recorder.modalWasUp = false;
    }

    void stylesGiveTheirButtonsIconsAndResults_data()
    {
        QTest::addColumn<int>("style");
        QTest::addColumn<int>("press"); // a QMessageBox::StandardButton, or 0 for Esc
        QTest::addColumn<int>("icon");
        QTest::addColumn<int>("result");
        QTest::newRow("critical OK")
            << 16 << int(QMessageBox::Ok) << int(QMessageBox::Critical) << 1;
        QTest::newRow("warning OK") << 48 << int(QMessageBox::Ok) << int(QMessageBox::Warning) << 1;
        QTest::newRow("information OK")
            << 64 << int(QMessageBox::Ok) << int(QMessageBox::Information) << 1;
        QTest::newRow("plain OK") << 0 << int(QMessageBox::Ok) << int(QMessageBox::NoIcon) << 1;
        QTest::newRow("question Yes")
            << 36 << int(QMessageBox::Yes) << int(QMessageBox::Question) << 6;
        QTest::newRow("question No")
            << 36 << int(QMessageBox::No) << int(QMessageBox::Question) << 7;
        QTest::newRow("question Esc") << 36 << 0 << int(QMessageBox::Question) << 7;
        QTest::newRow("warning Yes")
            << 52 << int(QMessageBox::Yes) << int(QMessageBox::Warning) << 6;
        QTest::newRow("warning No") << 52 << int(QMessageBox::No) << int(QMessageBox::Warning) << 7;
    }
    void stylesGiveTheirButtonsIconsAndResults()
    {
        QFETCH(int, style);
        QFETCH(int, press);
        QFETCH(int, icon);
        QFETCH(int, result);
        int seenIcon = -1;
        QString seenTitle = QStringLiteral("unset");
        int buttonCount = 0;
        test::onNextModal([&](QWidget *w) {
            auto *box = qobject_cast<QMessageBox *>(w);
            QVERIFY(box);
            seenIcon = box->icon();
            seenTitle = box->windowTitle();
            buttonCount = int(box->buttons().size());
            if (press == 0)
                QTest::keyClick(box, Qt::Key_Escape);
            else
                box->button(QMessageBox::StandardButton(press))->click();
        });
        QCOMPARE(ShowMessage(QStringLiteral("Prompt"), style, QString()), result);
        QCOMPARE(seenIcon, icon);
        QCOMPARE(seenTitle, QString());
        QCOMPARE(buttonCount, (style & 0x0f) == 4 ? 2 : 1);
    }

    // What the window system is given as a title is the box's own title, with no product name
    // added; an empty title stays blank on screen.
    void titlesAreExactlyTheirOwn_data()
    {
        QTest::addColumn<QString>("title");
        QTest::newRow("empty") << QString();
        QTest::newRow("Attention!") << QStringLiteral("Attention!");
        QTest::newRow("Can not open file") << QStringLiteral("Can not open file");
    }
    void titlesAreExactlyTheirOwn()
    {
        QFETCH(QString, title);
        setApplicationIdentity(
            QStringLiteral("Corvallo"), QStringLiteral("Sonivert"), QStringLiteral("1.2.3"));
        QCOMPARE(QCoreApplication::applicationName(), QStringLiteral("Sonivert"));
        // No display name is pinned: Qt would append it to every title on screen.
        QCoreApplication::setApplicationName(QStringLiteral("probe"));
        QCOMPARE(QGuiApplication::applicationDisplayName(), QStringLiteral("probe"));
        QCoreApplication::setApplicationName(QStringLiteral("Sonivert"));

        QString ownTitle = QStringLiteral("unset");
        QString screenTitle = QStringLiteral("unset");
        test::onNextModal([&](QWidget *w) {
            ownTitle = w->windowTitle();
            screenTitle = w->windowHandle() ? w->windowHandle()->title() : QStringLiteral("none");
            QTest::keyClick(w, Qt::Key_Escape);
        });
        ShowMessage(QStringLiteral("Prompt"), MsgWarning, title);
        QCOMPARE(ownTitle, title);
        if (title.isEmpty())
            QCOMPARE(screenTitle, QStringLiteral(" "));
        else
            QCOMPARE(screenTitle, title);
    }

    void defaultButtonIsTheFirst()
    {
        test::onNextModal([](QWidget *w) { QTest::keyClick(w, Qt::Key_Return); });
        QCOMPARE(ShowMessage(QStringLiteral("Sure?"), MsgQuestion, QStringLiteral("Title")),
            int(ResultYes));
    }

    void openingAMissingFolderOffersToCreateIt_data()
    {
        QTest::addColumn<bool>("answerYes");
        QTest::addColumn<QString>("tail");
        QTest::newRow("Yes creates and opens") << true << "new/folder";
        QTest::newRow("Yes, trailing separator") << true << "new/folder/";
        QTest::newRow("No opens nothing") << false << "new/folder";
    }
    void openingAMissingFolderOffersToCreateIt()
    {
        QFETCH(bool, answerYes);
        QFETCH(QString, tail);
        QTemporaryDir dir;
        const QString path = dir.filePath(tail);
        QString prompt;
        test::onNextModal([&](QWidget *w) {
            auto *box = qobject_cast<QMessageBox *>(w);
            prompt = box->text();
            box->button(answerYes ? QMessageBox::Yes : QMessageBox::No)->click();
        });
        OpenOutputFolder(nullptr, path, false, true);
        QCOMPARE(prompt,
            QStringLiteral("Folder  '") + path
                + QStringLiteral("'  does not exist.\n\nDo you want to create it?"));
        QCOMPARE(QFileInfo(path).isDir(), answerYes);
        QCOMPARE(recorder.opened.size(), answerYes ? 1 : 0);
        if (answerYes)
            QCOMPARE(QDir(recorder.opened.first()), QDir(path));
    }

    void selectingAFileOpensItsFolderWithoutAFileManagerService()
    {
        QTemporaryDir dir;
        const QString file = dir.filePath(QStringLiteral("song.mp3"));
        OpenOutputFolder(nullptr, file, true, false);
        QCOMPARE(recorder.opened, QStringList { dir.path() });
    }

    void completionWindowClosesBeforeTheFolderOpens()
    {
        QTemporaryDir dir;
        QWidget owner;
        CompletionDialog dialog(dir.path(), &owner);
        QCOMPARE(dialog.objectName(), QStringLiteral("frmMsg"));
        QCOMPARE(dialog.findChild<QLabel *>(QStringLiteral("lbl_ConversionCompleted"))->text(),
            QStringLiteral("Conversion is completed !"));
        QTimer::singleShot(0, [&] { dialog.button(0)->click(); });
        dialog.exec();
        QCOMPARE(recorder.opened, QStringList { dir.path() });
        QVERIFY(!recorder.modalWasUp);

        // Close opens nothing, and a missing folder is not offered for creation.
        CompletionDialog second(dir.filePath(QStringLiteral("gone")), &owner);
        QTimer::singleShot(0, [&] { second.button(1)->click(); });
        second.exec();
        QCOMPARE(recorder.opened.size(), 1);
    }
};

QTEST_MAIN(MessagesTest)
#include "messages_test.moc"
