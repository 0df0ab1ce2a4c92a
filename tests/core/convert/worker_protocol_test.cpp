#include "core/convert/worker_protocol.h"

#include <QTest>

using namespace sonivert::worker;

namespace {

Message sample()
{
    Message m { MessageType::Task, {} };
    m.add("id", int64_t(7))
        .add("input", std::string("/tmp/a b/\xc3\xa9t\xc3\xa9.mp4"))
        .add("tag", std::string("title=One=Two"))
        .add("tag", std::string("comment=line\nbreak"))
        .add("empty", std::string())
        .add("binary", std::string("a\0b\xff", 4));
    return m;
}

std::string lengthBytes(uint32_t value)
{
    std::string out;
    for (int shift = 0; shift < 32; shift += 8)
        out.push_back(char((value >> shift) & 0xffu));
    return out;
}

} // namespace

class WorkerProtocolTest : public QObject
{
    Q_OBJECT

private slots:
    void roundTripKeepsEveryFieldInOrder()
    {
        FrameReader reader;
        reader.append(encodeFrame(sample()));
        const std::optional<Message> m = reader.next();
        QVERIFY(m);
        QCOMPARE(int(m->type), int(MessageType::Task));
        QCOMPARE(m->fields, sample().fields);
        QCOMPARE(m->number("id", -1), int64_t(7));
        QCOMPARE(m->all("tag").size(), size_t(2));
        QCOMPARE(m->text("binary"), std::string("a\0b\xff", 4));
        QVERIFY(!reader.next());
        QCOMPARE(reader.pending(), size_t(0));
    }

    void bytesArrivingOneByOneMakeTheSameMessages()
    {
        const std::string stream = encodeFrame(sample())
            + encodeFrame(Message { MessageType::Quit, {} })
            + encodeFrame(Message { MessageType::Progress, {} }.add("out_us", int64_t(-5)));
        FrameReader reader;
        std::vector<Message> got;
        for (char c : stream) {
            reader.append(&c, 1);
            while (std::optional<Message> m = reader.next())
                got.push_back(*m);
        }
        QVERIFY(!reader.failed());
        QCOMPARE(got.size(), size_t(3));
        QCOMPARE(got[0].fields, sample().fields);
        QCOMPARE(int(got[1].type), int(MessageType::Quit));
        QCOMPARE(got[2].number("out_us", 0), int64_t(-5));
    }

    void aTruncatedFrameWaitsAndGivesNothing()
    {
        const std::string frame = encodeFrame(sample());
        for (size_t cut : { size_t(1), size_t(3), size_t(4), size_t(5), frame.size() - 1 }) {
            FrameReader reader;
            reader.append(frame.substr(0, cut));
            QVERIFY(!reader.next());
            QVERIFY(!reader.failed());
            QCOMPARE(reader.pending(), cut);
        }
    }

    void anOversizedFrameFailsForGood()
    {
        FrameReader reader;
        reader.append(lengthBytes(MaxFrameBytes + 1) + std::string(16, 'x'));
        QVERIFY(!reader.next());
        QVERIFY(reader.failed());
        // Nothing after it is trusted, even a good frame.
        reader.append(encodeFrame(sample()));
        QVERIFY(!reader.next());
        FrameReader huge;
        huge.append(lengthBytes(0xffffffffu));
        QVERIFY(!huge.next());
        QVERIFY(huge.failed());
    }

    void hostilePayloadsFail_data()
    {
        QTest::addColumn<QByteArray>("payload");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("unknown type") << QByteArray("\x63", 1);
        QTest::newRow("type zero") << QByteArray("\x00", 1);
        QTest::newRow("short key length") << QByteArray("\x02\x01\x00", 3);
        QTest::newRow("key past the end") << QByteArray("\x02\x09\x00\x00\x00"
                                                        "ab",
            7);
        QTest::newRow("key without value") << QByteArray("\x02\x01\x00\x00\x00"
                                                         "k",
            6);
        QTest::newRow("value past the end") << QByteArray("\x02\x01\x00\x00\x00"
                                                          "k"
                                                          "\xff\xff\xff\x7f"
                                                          "v",
            11);
    }

    void hostilePayloadsFail()
    {
        QFETCH(QByteArray, payload);
        FrameReader reader;
        reader.append(lengthBytes(uint32_t(payload.size()))
            + std::string(payload.constData(), size_t(payload.size())));
        QVERIFY(!reader.next());
        QVERIFY(reader.failed());
        QVERIFY(!reader.error().empty());
    }

    void numbersThatAreNotNumbersGiveTheFallback()
    {
        Message m { MessageType::Log, {} };
        m.add("level", std::string("16x"))
            .add("id", std::string(""))
            .add("big", std::string("99999999999999999999999"));
        QCOMPARE(m.number("level", 32), int64_t(32));
        QCOMPARE(m.number("id", -1), int64_t(-1));
        QCOMPARE(m.number("big", 3), int64_t(3));
        QCOMPARE(m.number("missing", 4), int64_t(4));
        QCOMPARE(m.text("missing", "x"), std::string("x"));
    }
};

QTEST_APPLESS_MAIN(WorkerProtocolTest)
#include "worker_protocol_test.moc"
