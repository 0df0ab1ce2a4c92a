// The repairs at a join, on frames built bit by bit: the MP3 main data borrowed across a join
// lands where the frames after it look for it (also when the frame before the join must grow to
// hold it), and a renumbered FLAC frame decodes with both of its CRCs checked.
#include "support/media_maker.h"
#include "worker/segment_join.h"

#include <QTemporaryDir>
#include <QTest>
#include <cstdint>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

using namespace sonivert::worker;

namespace {

class BitWriter
{
public:
    // Writes the low bits of value, most significant first; up to 64 bits at a time.
    void put(uint64_t value, int bits)
    {
        for (int i = bits - 1; i >= 0; --i) {
            if (m_bit % 8 == 0)
                m_bytes.push_back('\0');
            if ((value >> i) & 1u)
                m_bytes.back() = static_cast<char>(m_bytes.back() | (0x80 >> (m_bit % 8)));
            ++m_bit;
        }
    }
    const std::string &bytes() const { return m_bytes; }

private:
    std::string m_bytes;
    size_t m_bit = 0;
};

constexpr int SideEnd = 4 + 32; // MPEG-1 stereo, no CRC

// An MPEG-1 Layer III stereo frame at 44.1 kHz whose main data starts mainDataBegin bytes before
// its own region and takes usedBytes, its region filled with fill.
SegmentPacket mp3Frame(int bitrateIndex, int mainDataBegin, int usedBytes, char fill)
{
    static const int kbps[] = { 0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320 };
    const int size = 144000 * kbps[bitrateIndex] / 44100;
    BitWriter bits;
    bits.put(0xFFFB, 16); // sync, MPEG-1, Layer III, no CRC
    bits.put(unsigned(bitrateIndex), 4);
    bits.put(0, 2 + 1 + 1); // 44.1 kHz, no padding, private
    bits.put(0, 2 + 2 + 4); // stereo, mode extension, copyright, original, emphasis
    bits.put(unsigned(mainDataBegin), 9);
    bits.put(0, 3 + 8); // private bits, scfsi
    // Each granule and channel holds at most 4095 bits.
    const unsigned used = unsigned(usedBytes) * 8;
    for (unsigned part = 0; part < 4; ++part) {
        bits.put(used / 4 + (part == 0 ? used % 4 : 0), 12);
        bits.put(0, 47);
    }
    SegmentPacket packet;
    packet.data = bits.bytes();
    packet.data.resize(size_t(size), fill);
    return packet;
}

int payload(const SegmentPacket &frame)
{
    return int(frame.data.size()) - SideEnd;
}

} // namespace

class SegmentJoinRepairTest : public QObject
{
    Q_OBJECT

private slots:
    void mp3LayoutIsRead()
    {
        const Mp3FrameLayout layout = mp3FrameLayout(mp3Frame(9, 300, 250, 'x').data);
        QVERIFY(layout.valid);
        QCOMPARE(layout.sideEnd, SideEnd);
        QCOMPARE(layout.mainDataBegin, 300);
        QCOMPARE(layout.mainDataBytes, 250);
        QVERIFY(!mp3FrameLayout(std::string("ID3\x03\x00", 5)).valid);
    }

    void mp3BorrowedDataMovesAcrossTheJoin_data()
    {
        QTest::addColumn<int>("tailRate"); // bit rate index of the frames before the join
        QTest::addColumn<int>("tailFree"); // bytes their main data leaves unused at the end
        QTest::addColumn<int>("borrowed"); // main_data_begin of the first frame after it
        QTest::addColumn<bool>("joins");
        QTest::addColumn<int>("grownRate"); // the last frame's bit rate index afterwards

        QTest::newRow("room enough") << 9 << 200 << 150 << true << 9;
        QTest::newRow("exactly enough") << 9 << 150 << 150 << true << 9;
        QTest::newRow("128k frame grows to 160k") << 9 << 40 << 120 << true << 10;
        QTest::newRow("128k frame grows further") << 9 << 0 << 300 << true << 12;
        QTest::newRow("320k cannot grow") << 14 << 10 << 400 << false << 14;
    }

    void mp3BorrowedDataMovesAcrossTheJoin()
    {
        QFETCH(int, tailRate);
        QFETCH(int, tailFree);
        QFETCH(int, borrowed);
        QFETCH(bool, joins);
        QFETCH(int, grownRate);

        std::vector<SegmentPacket> tail;
        for (int i = 0; i < 3; ++i) {
            SegmentPacket frame = mp3Frame(tailRate, 0, 0, 't');
            tail.push_back(frame);
        }
        // The last frame's own data ends tailFree bytes before the join.
        const int last = payload(tail.back());
        tail.back() = mp3Frame(tailRate, 0, last - tailFree, 't');
        std::vector<SegmentPacket> next = { mp3Frame(9, 0, 0, 'a'), mp3Frame(9, 0, 0, 'b'),
            mp3Frame(9, borrowed, 200, 'c'), mp3Frame(9, 0, 100, 'd') };
        size_t start = 2;
        const bool joined = resolveMp3Reservoir(tail, {}, next, &start);
        QCOMPARE(joined, joins);
        QCOMPARE(int(uint8_t(tail.back().data[2]) >> 4), grownRate);
        if (!joins)
            return;
        QCOMPARE(start, size_t(2));
        // The last `borrowed` bytes before the join are the later segment's: its frame 1's end.
        const std::string &end = tail.back().data;
        QCOMPARE(end.substr(end.size() - size_t(borrowed)), std::string(size_t(borrowed), 'b'));
        // And the earlier segment's own main data is untouched.
        QCOMPARE(end.at(size_t(SideEnd)), 't');
        QVERIFY(mp3FrameLayout(end).valid);
    }

    void mp3JoinMovesLaterWhenThatFits()
    {
        std::vector<SegmentPacket> tail = { mp3Frame(9, 0, 381, 't'), mp3Frame(9, 0, 381, 't') };
        // One frame further on, the earlier segment leaves room and the later one borrows less.
        const std::vector<SegmentPacket> extra = { mp3Frame(9, 0, 300, 'e') };
        const std::vector<SegmentPacket> next = { mp3Frame(9, 0, 0, 'a'), mp3Frame(9, 300, 0, 'b'),
            mp3Frame(9, 50, 100, 'c'), mp3Frame(9, 0, 100, 'd') };
        size_t start = 1;
        QVERIFY(resolveMp3Reservoir(tail, extra, next, &start));
        QCOMPARE(start, size_t(2));
        QCOMPARE(tail.size(), size_t(3));
        QCOMPARE(int(uint8_t(tail.back().data[2]) >> 4), 9); // no frame had to grow
        QCOMPARE(tail.back().data.substr(tail.back().data.size() - 50), std::string(50, 'b'));
    }

    void flacFrameIsRenumbered()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("tone.flac"));
        QVERIFY(sonivert::test::runFfmpeg({ QStringLiteral("-f"), QStringLiteral("lavfi"),
            QStringLiteral("-i"), QStringLiteral("sine=f=440:r=44100:d=1"), path }));
        AVFormatContext *format = nullptr;
        QCOMPARE(avformat_open_input(&format, path.toUtf8().constData(), nullptr, nullptr), 0);
        QVERIFY(avformat_find_stream_info(format, nullptr) >= 0);
        AVPacket *packet = av_packet_alloc();
        std::string third;
        for (int i = 0; i < 3 && av_read_frame(format, packet) >= 0; ++i) {
            third.assign(reinterpret_cast<const char *>(packet->data), size_t(packet->size));
            av_packet_unref(packet);
        }
        QCOMPARE(uint8_t(third.at(4)), uint8_t(2)); // frame number 2, one byte

        const std::string same = renumberFlacFrame(third, 2);
        QCOMPARE(same, third);
        const std::string renumbered = renumberFlacFrame(third, 300);
        QCOMPARE(renumbered.size(), third.size() + 1); // 300 takes two bytes
        QCOMPARE(uint8_t(renumbered.at(4)), uint8_t(0xC4));
        QCOMPARE(uint8_t(renumbered.at(5)), uint8_t(0xAC));
        QVERIFY(renumberFlacFrame(std::string("not a frame"), 1).empty());

        // The decoder checks the header's CRC-8 and, asked to, the frame's CRC-16.
        const AVCodec *codec = avcodec_find_decoder(AV_CODEC_ID_FLAC);
        AVCodecContext *decoder = avcodec_alloc_context3(codec);
        avcodec_parameters_to_context(decoder, format->streams[0]->codecpar);
        decoder->err_recognition = AV_EF_CRCCHECK | AV_EF_EXPLODE;
        QCOMPARE(avcodec_open2(decoder, codec, nullptr), 0);
        QCOMPARE(av_new_packet(packet, int(renumbered.size())), 0);
        memcpy(packet->data, renumbered.data(), renumbered.size());
        QCOMPARE(avcodec_send_packet(decoder, packet), 0);
        AVFrame *frame = av_frame_alloc();
        QCOMPARE(avcodec_receive_frame(decoder, frame), 0);
        QVERIFY(frame->nb_samples > 0);
        std::string broken = renumbered;
        broken[broken.size() / 2] = char(broken[broken.size() / 2] ^ 0x20);
        av_packet_unref(packet);
        QCOMPARE(av_new_packet(packet, int(broken.size())), 0);
        memcpy(packet->data, broken.data(), broken.size());
        const int sent = avcodec_send_packet(decoder, packet);
        QVERIFY(sent < 0 || avcodec_receive_frame(decoder, frame) < 0);
        av_frame_free(&frame);
        av_packet_free(&packet);
        avcodec_free_context(&decoder);
        avformat_close_input(&format);
    }
};

QTEST_GUILESS_MAIN(SegmentJoinRepairTest)
#include "segment_join_test.moc"
