#pragma once

// Plain C++ over libav: the worker, which has no Qt, shares it with the ffmpeg engine's job, and
// any engine that writes an audio output can carry a source's picture and chapters with it.

#include <cstdint>
#include <string>

struct AVFormatContext;

namespace sonivert {

// Where an output's cover picture comes from.
enum class CoverChoice {
    Source, // the picture the source carries, if any
    Frame, // that picture, else a frame of the source's video
    None,
};

// "source", "frame", "none"; Source for anything else.
CoverChoice coverChoiceFromName(const std::string &name);
const char *coverChoiceName(CoverChoice choice);

// An encoded picture, as a file of its own would hold it.
struct CoverPicture
{
    std::string data;
    int codecId = 0; // an AVCodecID: MJPEG or PNG as a rule
    int width = 0;
    int height = 0;

    bool empty() const { return data.empty(); }
    // "image/jpeg", "image/png", ...
    std::string mimeType() const;
    // "jpg", "png", ...: what a file of the picture is named with.
    std::string fileExtension() const;
};

// How an output of an extension ("MP3", "m4a", any case) holds a picture: as an attached-picture
// stream (ID3v2 APIC, MP4 covr, FLAC PICTURE), as a METADATA_BLOCK_PICTURE comment (Ogg, Opus),
// or not at all.
enum class CoverHolder {
    None,
    PictureStream,
    PictureComment,
};
CoverHolder coverHolderOf(const std::string &extension);

// The first attached-picture stream of an open file (MP4 covr, ID3v2 APIC, FLAC PICTURE, a
// Matroska cover attachment); -1 when there is none.
int attachedPictureIndex(const AVFormatContext *context);
// The first video stream that is not an attached picture; -1 when there is none.
int motionVideoIndex(const AVFormatContext *context);
// The picture of an attached-picture stream; empty when there is none.
CoverPicture attachedPicture(const AVFormatContext *context);

// A frame of the file's video at a tenth of its duration, at most MaxCoverSide pixels wide and
// high, as a JPEG; empty when the file has no video or it cannot be decoded.
inline constexpr int MaxCoverSide = 600;
// The mjpeg quality scale of the JPEGs made here: close to the source, a few dozen KB.
inline constexpr int CoverJpegQuality = 3;
CoverPicture videoFrameCover(const std::string &path);
// The picture a choice gives for a source: empty for None or when there is nothing to take.
CoverPicture coverFor(const std::string &path, CoverChoice choice);

// Whether every picture holder takes a picture of the codec as it is: JPEG and PNG.
bool isPortablePicture(int codecId);
// The picture as every holder takes it: itself when JPEG or PNG, else a JPEG of it (at most
// MaxCoverSide pixels each way); empty when it cannot be decoded.
CoverPicture portablePicture(const CoverPicture &picture);

// The value of a METADATA_BLOCK_PICTURE comment: a FLAC picture block (front cover), base64.
std::string pictureCommentValue(const CoverPicture &picture);
// Pictures larger than this go into comments as a small JPEG: the comment stays a few Ogg pages,
// and in base64 it fits one command-line argument (at most 128 KiB on Linux).
inline constexpr size_t MaxCommentPictureBytes = 64 * 1024;
// The picture as a comment takes it: itself when small enough, else a JPEG of at most
// MaxCommentPictureBytes; empty when it cannot be made one.
CoverPicture commentPicture(const CoverPicture &picture);

// Before the output's header is written: adds the picture the way the holder takes it. The
// index of the picture stream the picture packet must go to, or -1 (comment, or no holder).
// A negative AVERROR when the stream cannot be added.
int addCover(AVFormatContext *output, CoverHolder holder, const CoverPicture &picture);
// After the header: the picture's one packet into its stream.
int writeCoverPacket(AVFormatContext *output, int streamIndex, const CoverPicture &picture);

} // namespace sonivert
