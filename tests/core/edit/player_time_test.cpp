#include "core/edit/player_time.h"

#include <QTest>
#include <limits>

using namespace sonivert;

namespace {

TimeHalves us(int64_t microseconds)
{
    return TimeHalves::fromMicroseconds(microseconds);
}

} // namespace

class PlayerTimeTest : public QObject
{
    Q_OBJECT

private slots:
    void halvesSignAndNoValueMark()
    {
        TimeHalves t { 7, 9 };
        clearTime(t);
        QCOMPARE(t, (TimeHalves { 0, 0 }));

        QVERIFY(!isPositiveTime(0, 0));
        QVERIFY(isPositiveTime(1, 0));
        QVERIFY(isPositiveTime(0, 1));
        // The low half is unsigned: all its bits set is 4,294,967,295 microseconds.
        QVERIFY(isPositiveTime(-1, 0));
        QCOMPARE(us(4294967295LL), (TimeHalves { -1, 0 }));
        QVERIFY(!isPositiveTime(0, -1));
        QVERIFY(!isPositiveTime(us(-1)));

        const int32_t signBit = std::numeric_limits<int32_t>::min();
        QVERIFY(isNoValueTime(0, signBit));
        QVERIFY(!isPositiveTime(0, signBit));
        QVERIFY(!isNoValueTime(1, signBit));
        QVERIFY(!isNoValueTime(0, 0));
    }

    void durationHalvesOfMinusOneStoreAsZero()
    {
        QCOMPARE(storedDuration(-1, -1), (TimeHalves { 0, 0 }));
        QCOMPARE(storedDuration(-1, 5), (TimeHalves { 0, 5 }));
        QCOMPARE(storedDuration(123, -1), (TimeHalves { 123, 0 }));
        QCOMPARE(storedDuration(-2, 3), (TimeHalves { -2, 3 }));
    }

    void currencyTimeIsTheSameBits()
    {
        const TimeHalves t = us(3000000000LL); // low half reads negative
        QCOMPARE(t.low, int32_t(-1294967296));
        const CurrencyTime c = toCurrencyTime(t);
        QCOMPARE(c.raw(), 3000000000LL);
        QCOMPARE(c.value(), 300000.0);
        QCOMPARE(c.seconds(), 3000.0);
        QCOMPARE(fromCurrencyTime(c), t);
        QCOMPARE(timeToSeconds(t.low, t.high), 3000.0);
        QCOMPARE(timeToSeconds(us(1500000)), 1.5);
        QCOMPARE(CurrencyTime::fromValue(150.0).raw(), 1500000LL);
    }

    void arithmeticRoundsToTheMicrosecondHalvesToEven_data()
    {
        QTest::addColumn<qint64>("raw");
        QTest::addColumn<qint64>("numerator");
        QTest::addColumn<qint64>("denominator");
        QTest::addColumn<qint64>("expected");
        QTest::newRow("0.5 down") << 1LL << 1LL << 2LL << 0LL;
        QTest::newRow("1.5 up") << 3LL << 1LL << 2LL << 2LL;
        QTest::newRow("2.5 down") << 5LL << 1LL << 2LL << 2LL;
        QTest::newRow("2.6 up") << 13LL << 1LL << 5LL << 3LL;
        QTest::newRow("2.4 down") << 12LL << 1LL << 5LL << 2LL;
        QTest::newRow("-1.5") << -3LL << 1LL << 2LL << -2LL;
        QTest::newRow("-2.5") << -5LL << 1LL << 2LL << -2LL;
        QTest::newRow("negative denominator") << 5LL << 1LL << -2LL << -2LL;
        QTest::newRow("by zero") << 5LL << 1LL << 0LL << 0LL;
        // The product overflows 64 bits and is taken in extended precision.
        QTest::newRow("huge") << (1LL << 62) << 3LL << 4LL << 3LL * (1LL << 60);
    }

    void arithmeticRoundsToTheMicrosecondHalvesToEven()
    {
        QFETCH(qint64, raw);
        QFETCH(qint64, numerator);
        QFETCH(qint64, denominator);
        QFETCH(qint64, expected);
        QCOMPARE(CurrencyTime::fromRaw(raw).mulDiv(numerator, denominator).raw(), expected);
    }

    void wholeSecondsRoundHalvesToEven()
    {
        QCOMPARE(wholeSeconds(2.5), 2);
        QCOMPARE(wholeSeconds(3.5), 4);
        QCOMPARE(wholeSeconds(30.25), 30);
        QCOMPARE(wholeSeconds(0.5), 0);
        QCOMPARE(wholeSeconds(0.51), 1);
    }

    void pixelAndTimeOnTheBar()
    {
        const TimeHalves hundredSeconds = us(100000000);
        QCOMPARE(timeOfPixel(100, 400, hundredSeconds).microseconds(), 25000000LL);
        QCOMPARE(timeOfPixel(0, 400, hundredSeconds).microseconds(), 0LL);
        QCOMPARE(timeOfPixel(400, 400, hundredSeconds), hundredSeconds);
        QCOMPARE(timeOfPixel(5, 0, hundredSeconds).microseconds(), 0LL);
        // 10 us over 4 pixels: 2.5 us and 7.5 us round to the even neighbours.
        QCOMPARE(timeOfPixel(1, 4, us(10)).microseconds(), 2LL);
        QCOMPARE(timeOfPixel(3, 4, us(10)).microseconds(), 8LL);
        // A duration past 2^32 us keeps its high half.
        QCOMPARE(timeOfPixel(1, 2, us(10000000000LL)).microseconds(), 5000000000LL);

        QCOMPARE(pixelOfTime(us(50000000), hundredSeconds, 400), 200);
        QCOMPARE(pixelOfTime(us(1000000), us(3000000), 100), 33); // 33.3 floors
        QCOMPARE(pixelOfTime(us(2999999), us(3000000), 100), 99);
        QCOMPARE(pixelOfTime(us(1000000), us(0), 100), 0);
        QCOMPARE(pixelOfTime(us(1000000), us(-5), 100), 0);

        // A time rounded down to the microsecond floors to the pixel before: whoever knows the
        // pixel must keep it rather than map the time back.
        const TimeHalves odd = us(12345678);
        QCOMPARE(timeOfPixel(2, 580, odd).microseconds(), 42571LL);
        QCOMPARE(pixelOfTime(timeOfPixel(2, 580, odd), odd, 580), 1);
        QCOMPARE(pixelOfTime(timeOfPixel(290, 580, odd), odd, 580), 290);
    }

    void positionMovesTheBarOnlyWhenPositive()
    {
        const TimeHalves hundredSeconds = us(100000000);
        QCOMPARE(barValueForPosition(us(50000000), hundredSeconds, 400), 200);
        QCOMPARE(barValueForPosition(us(0), hundredSeconds, 400), -1);
        QCOMPARE(barValueForPosition(us(50000000), storedDuration(-1, -1), 400), -1);
        QCOMPARE(barValueForPosition(us(100000000), hundredSeconds, 400), 400);
    }

    void pictureFitsTheAspectRatio()
    {
        QCOMPARE(fitAspectRatio(400, 300, 16.0 / 9.0), QRect(0, 37, 400, 225));
        QCOMPARE(fitAspectRatio(400, 300, 1.0), QRect(50, 0, 300, 300));
        QCOMPARE(fitAspectRatio(400, 300, 0.0), QRect(0, 0, 400, 300));
        QCOMPARE(fitAspectRatio(0, 300, 1.78), QRect(0, 0, 0, 300));
    }
};

QTEST_GUILESS_MAIN(PlayerTimeTest)
#include "player_time_test.moc"
