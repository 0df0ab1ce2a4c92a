#include "core/media/time_text.h"

#include <QLocale>
#include <QTest>

using namespace sonivert;

class TimeTextTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QLocale::setDefault(QLocale::c()); }

    void halvesRoundTrip_data()
    {
        QTest::addColumn<qint64>("value");
        QTest::newRow("zero") << qint64(0);
        QTest::newRow("low half with its top bit set") << qint64(0x80000000LL);
        QTest::newRow("above 32 bits") << qint64(3723500000LL);
        QTest::newRow("negative") << qint64(-1);
        QTest::newRow("unknown mark") << qint64(UnknownTime);
    }
    void halvesRoundTrip()
    {
        QFETCH(qint64, value);
        int32_t low = 0;
        int32_t high = 0;
        splitTime(value, low, high);
        QCOMPARE(joinTimeHalves(low, high), value);
    }

    void unknownTimeIsTheSignBitAlone()
    {
        int32_t low = 1;
        int32_t high = 1;
        splitTime(UnknownTime, low, high);
        QCOMPARE(low, 0);
        QCOMPARE(high, INT32_MIN);
    }

    void mediaTime_data()
    {
        QTest::addColumn<qint64>("micros");
        QTest::addColumn<QString>("text");
        QTest::newRow("zero") << qint64(0) << "00:00:00.000";
        QTest::newRow("negative") << qint64(-5000000) << "00:00:00.000";
        QTest::newRow("hours minutes seconds") << qint64(3723500000LL) << "01:02:03.500";
        // Floating point would turn 1.001 s into 1.000.
        QTest::newRow("one millisecond past") << qint64(1001000) << "00:00:01.001";
        QTest::newRow("sub-millisecond truncates") << qint64(999999) << "00:00:00.999";
        QTest::newRow("no wrap at a day") << qint64(25LL * 3600 * 1000000) << "25:00:00.000";
        QTest::newRow("three-digit hours") << qint64(100LL * 3600 * 1000000) << "100:00:00.000";
    }
    void mediaTime()
    {
        QFETCH(qint64, micros);
        QFETCH(QString, text);
        QCOMPARE(FormatMediaTime(micros), text);
        int32_t low = 0;
        int32_t high = 0;
        splitTime(micros, low, high);
        QCOMPARE(FormatMediaTime(low, high), text);
    }

    void clockAndWords_data()
    {
        QTest::addColumn<int>("seconds");
        QTest::addColumn<QString>("clock");
        QTest::addColumn<QString>("words");
        QTest::newRow("0") << 0 << "00:00:00"
                           << "0 seconds";
        QTest::newRow("1") << 1 << "00:00:01"
                           << "1 second";
        QTest::newRow("5") << 5 << "00:00:05"
                           << "5 seconds";
        QTest::newRow("59") << 59 << "00:00:59"
                            << "59 seconds";
        QTest::newRow("60") << 60 << "00:01:00"
                            << "1 minute and 0 seconds";
        QTest::newRow("750") << 750 << "00:12:30"
                             << "12 minutes and 30 seconds";
        QTest::newRow("3601") << 3601 << "01:00:01"
                              << "1 hour, 0 minutes, and 1 second";
        QTest::newRow("3660") << 3660 << "01:01:00"
                              << "1 hour, 1 minute, and 0 seconds";
        QTest::newRow("7200") << 7200 << "02:00:00"
                              << "2 hours, 0 minutes, and 0 seconds";
        QTest::newRow("9000") << 9000 << "02:30:00"
                              << "2 hours, 30 minutes, and 0 seconds";
        QTest::newRow("123 hours") << 3600 * 123 << "123:00:00"
                                   << "123 hours, 0 minutes, and 0 seconds";
    }
    void clockAndWords()
    {
        QFETCH(int, seconds);
        QFETCH(QString, clock);
        QFETCH(QString, words);
        QCOMPARE(FormatSeconds(seconds, false), clock);
        QCOMPARE(FormatSeconds(seconds, true), words);
        QCOMPARE(clockTextToWords(clock), words);
    }

    void byteSize_data()
    {
        QTest::addColumn<double>("size");
        QTest::addColumn<QString>("text");
        QTest::newRow("0") << 0.0 << "0 bytes";
        QTest::newRow("512") << 512.0 << "512 bytes";
        QTest::newRow("1023") << 1023.0 << "1023 bytes";
        QTest::newRow("1024") << 1024.0 << "1.00 kB";
        QTest::newRow("5000") << 5000.0 << "4.88 kB";
        QTest::newRow("50000") << 50000.0 << "48.8 kB";
        QTest::newRow("500000") << 500000.0 << "488 kB";
        QTest::newRow("1040000") << 1040000.0 << "0.99 MB";
        QTest::newRow("2000000") << 2000000.0 << "1.91 MB";
        QTest::newRow("5 GiB") << 5.0 * 1024 * 1024 * 1024 << "5.00 GB";
        QTest::newRow("beyond yottabytes") << 1e30 << "";
    }
    void byteSize()
    {
        QFETCH(double, size);
        QFETCH(QString, text);
        QCOMPARE(FormatByteSize(size), text);
    }

    void byteSizeUsesTheLocaleSeparator()
    {
        QLocale::setDefault(QLocale(QLocale::German));
        const QString text = FormatByteSize(5000);
        QLocale::setDefault(QLocale::c());
        QCOMPARE(text, QStringLiteral("4,88 kB"));
    }
};

QTEST_GUILESS_MAIN(TimeTextTest)
#include "time_text_test.moc"
