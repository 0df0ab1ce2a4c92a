#include "core/edit/player_time.h"

#include <QTest>
#include <limits>

using namespace sonivert;

namespace {

TimeHalves Us(int64_t microseconds)
{
    return TimeHalves::FromMicroseconds(microseconds);
}

} // namespace

class PlayerTimeTest : public QObject
{
    Q_OBJECT

private slots:
    void halvesSignAndNoValueMark()
    {
        TimeHalves t { 7, 9 };
        ClearTime(t);
        QCOMPARE(t, (TimeHalves { 0, 0 }));

        QVERIFY(!IsPositiveTime(0, 0));
        QVERIFY(IsPositiveTime(1, 0));
        QVERIFY(IsPositiveTime(0, 1));
        // The low half is unsigned: all its bits set is 4,294,967,295 microseconds.
        QVERIFY(IsPositiveTime(-1, 0));
        QCOMPARE(Us(4294967295LL), (TimeHalves { -1, 0 }));
        QVERIFY(!IsPositiveTime(0, -1));
        QVERIFY(!IsPositiveTime(Us(-1)));

        const int32_t signBit = std::numeric_limits<int32_t>::min();
        QVERIFY(IsNoValueTime(0, signBit));
        QVERIFY(!IsPositiveTime(0, signBit));
        QVERIFY(!IsNoValueTime(1, signBit));
        QVERIFY(!IsNoValueTime(0, 0));
    }

    void durationHalvesOfMinusOneStoreAsZero()
    {
        QCOMPARE(StoredDuration(-1, -1), (TimeHalves { 0, 0 }));
        QCOMPARE(StoredDuration(-1, 5), (TimeHalves { 0, 5 }));
        QCOMPARE(StoredDuration(123, -1), (TimeHalves { 123, 0 }));
        QCOMPARE(StoredDuration(-2, 3), (TimeHalves { -2, 3 }));
    }

    void currencyTimeIsTheSameBits()
    {
        const TimeHalves t = Us(3000000000LL); // low half reads negative
        QCOMPARE(t.low, int32_t(-1294967296));
        const CurrencyTime c = ToCurrencyTime(t);
        QCOMPARE(c.Raw(), 3000000000LL);
        QCOMPARE(c.Value(), 300000.0);
        QCOMPARE(c.Seconds(), 3000.0);
        QCOMPARE(FromCurrencyTime(c), t);
        QCOMPARE(TimeToSeconds(t.low, t.high), 3000.0);
        QCOMPARE(TimeToSeconds(Us(1500000)), 1.5);
        QCOMPARE(CurrencyTime::FromValue(150.0).Raw(), 1500000LL);
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
        QCOMPARE(CurrencyTime::FromRaw(raw).MulDiv(numerator, denominator).Raw(), expected);
    }

    void wholeSecondsRoundHalvesToEven()
    {
        QCOMPARE(WholeSeconds(2.5), 2);
        QCOMPARE(WholeSeconds(3.5), 4);
        QCOMPARE(WholeSeconds(30.25), 30);
        QCOMPARE(WholeSeconds(0.5), 0);
        QCOMPARE(WholeSeconds(0.51), 1);
    }

    void pixelAndTimeOnTheBar()
    {
        const TimeHalves hundredSeconds = Us(100000000);
        QCOMPARE(TimeOfPixel(100, 400, hundredSeconds).Microseconds(), 25000000LL);
        QCOMPARE(TimeOfPixel(0, 400, hundredSeconds).Microseconds(), 0LL);
        QCOMPARE(TimeOfPixel(400, 400, hundredSeconds), hundredSeconds);
        QCOMPARE(TimeOfPixel(5, 0, hundredSeconds).Microseconds(), 0LL);
        // 10 us over 4 pixels: 2.5 us and 7.5 us round to the even neighbours.
        QCOMPARE(TimeOfPixel(1, 4, Us(10)).Microseconds(), 2LL);
        QCOMPARE(TimeOfPixel(3, 4, Us(10)).Microseconds(), 8LL);
        // A duration past 2^32 us keeps its high half.
        QCOMPARE(TimeOfPixel(1, 2, Us(10000000000LL)).Microseconds(), 5000000000LL);

        QCOMPARE(PixelOfTime(Us(50000000), hundredSeconds, 400), 200);
        QCOMPARE(PixelOfTime(Us(1000000), Us(3000000), 100), 33); // 33.3 floors
        QCOMPARE(PixelOfTime(Us(2999999), Us(3000000), 100), 99);
        QCOMPARE(PixelOfTime(Us(1000000), Us(0), 100), 0);
        QCOMPARE(PixelOfTime(Us(1000000), Us(-5), 100), 0);

        // A time rounded down to the microsecond floors to the pixel before: whoever knows the
        // pixel must keep it rather than map the time back.
        const TimeHalves odd = Us(12345678);
        QCOMPARE(TimeOfPixel(2, 580, odd).Microseconds(), 42571LL);
        QCOMPARE(PixelOfTime(TimeOfPixel(2, 580, odd), odd, 580), 1);
        QCOMPARE(PixelOfTime(TimeOfPixel(290, 580, odd), odd, 580), 290);
    }

    void positionMovesTheBarOnlyWhenPositive()
    {
        const TimeHalves hundredSeconds = Us(100000000);
        QCOMPARE(BarValueForPosition(Us(50000000), hundredSeconds, 400), 200);
        QCOMPARE(BarValueForPosition(Us(0), hundredSeconds, 400), -1);
        QCOMPARE(BarValueForPosition(Us(50000000), StoredDuration(-1, -1), 400), -1);
        QCOMPARE(BarValueForPosition(Us(100000000), hundredSeconds, 400), 400);
    }

    void pictureFitsTheAspectRatio()
    {
        QCOMPARE(FitAspectRatio(400, 300, 16.0 / 9.0), QRect(0, 37, 400, 225));
        QCOMPARE(FitAspectRatio(400, 300, 1.0), QRect(50, 0, 300, 300));
        QCOMPARE(FitAspectRatio(400, 300, 0.0), QRect(0, 0, 400, 300));
        QCOMPARE(FitAspectRatio(0, 300, 1.78), QRect(0, 0, 0, 300));
    }
};

QTEST_GUILESS_MAIN(PlayerTimeTest)
#include "player_time_test.moc"
