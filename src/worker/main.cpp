// sonivert-worker: converts tasks in process, one after another, for as long as it lives. It
// reads framed task messages on its standard input and answers on its standard output (see
// core/convert/worker_protocol.h); libav's own log lines travel as Log messages of the task.
// It ends on Quit, at the end of its input, or when its input loses its framing.

#include "core/convert/worker_protocol.h"
#include "worker/audio_conversion.h"

extern "C" {
#include <libavutil/log.h>
}

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

using sonivert::worker::Message;
using sonivert::worker::MessageType;

bool writeAll(const std::string &bytes)
{
    size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(STDOUT_FILENO, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

void send(const Message &message)
{
    static std::mutex lock; // libav may log from its own threads
    const std::lock_guard<std::mutex> guard(lock);
    if (!writeAll(sonivert::worker::encodeFrame(message)))
        ::_exit(3); // nobody listens any more
}

int64_t currentTask = 0;

class TaskReporter : public sonivert::worker::ConversionReporter
{
public:
    explicit TaskReporter(int64_t id)
        : m_id(id)
    {
    }
    void progress(int64_t outTimeUs) override
    {
        send(Message { MessageType::Progress, {} }.add("id", m_id).add("out_us", outTimeUs));
    }
    void log(int level, const std::string &line) override
    {
        send(Message { MessageType::Log, {} }
                 .add("id", m_id)
                 .add("level", static_cast<int64_t>(level))
                 .add("line", line));
    }
    void pictureComment(const std::string &value) override { m_pictureComment = value; }

    // The task's end, with what the core cannot know without decoding the picture itself.
    Message end(bool ok) const
    {
        Message message { MessageType::End, {} };
        message.add("id", m_id).add("ok", ok ? 1 : 0);
        if (!m_pictureComment.empty())
            message.add("picture_comment", m_pictureComment);
        return message;
    }

private:
    int64_t m_id;
    std::string m_pictureComment;
};

// libav's lines, with their "[component @ 0x...] " prefix as ffmpeg prints them; warnings and
// worse only, as the rest is noise to a person reading a failure.
void logCallback(void *component, int level, const char *format, va_list args)
{
    if (level > AV_LOG_WARNING)
        return;
    static thread_local std::string pending;
    static thread_local int printPrefix = 1;
    char line[2048];
    av_log_format_line2(component, level, format, args, line, sizeof line, &printPrefix);
    pending += line;
    size_t end;
    while ((end = pending.find('\n')) != std::string::npos) {
        std::string text = pending.substr(0, end);
        pending.erase(0, end + 1);
        if (!text.empty())
            TaskReporter(currentTask).log(level, text);
    }
}

sonivert::worker::ConversionSpec specOf(const Message &task)
{
    sonivert::worker::ConversionSpec spec;
    spec.input = task.text("input");
    spec.output = task.text("output");
    spec.encoder = task.text("encoder");
    spec.copy = task.number("copy", 0) == 1;
    spec.track = static_cast<int>(task.number("track", -1));
    spec.channels = static_cast<int>(task.number("channels", 0));
    spec.sampleRate = static_cast<int>(task.number("rate", 0));
    spec.bitRate = task.number("bitrate", 64000);
    spec.startUs = task.number("start_us", 0);
    spec.lengthUs = task.number("length_us", -1);
    spec.cover = sonivert::coverChoiceFromName(task.text("cover", "source"));
    spec.chapters = task.number("chapters", 1) != 0;
    spec.packetFile = task.text("packets");
    spec.segmentFrom = task.number("segment_from", 0);
    spec.segmentTo = task.number("segment_to", -1);
    spec.joinParts = task.all("part");
    for (const std::string &tag : task.all("tag")) {
        const size_t equals = tag.find('=');
        if (equals != std::string::npos && equals > 0)
            spec.tags.emplace_back(tag.substr(0, equals), tag.substr(equals + 1));
    }
    return spec;
}

} // namespace

int main()
{
    // The worker dies with the program that started it.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::signal(SIGPIPE, SIG_IGN);
    av_log_set_callback(logCallback);

    send(Message { MessageType::Ready, {} }.add(
        "version", static_cast<int64_t>(sonivert::worker::ProtocolVersion)));

    sonivert::worker::FrameReader reader;
    char buffer[65536];
    for (;;) {
        while (std::optional<Message> message = reader.next()) {
            if (message->type == MessageType::Quit)
                return 0;
            if (message->type != MessageType::Task)
                continue;
            currentTask = message->number("id", 0);
            send(Message { MessageType::Accepted, {} }.add("id", currentTask));
            TaskReporter reporter(currentTask);
            const bool ok = sonivert::worker::convertAudio(specOf(*message), reporter);
            send(reporter.end(ok));
        }
        if (reader.failed()) {
            std::fprintf(stderr, "sonivert-worker: %s\n", reader.error().c_str());
            return 2;
        }
        const ssize_t n = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return 0;
        reader.append(buffer, static_cast<size_t>(n));
    }
}
