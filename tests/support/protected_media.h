#pragma once

#include "support/media_maker.h"

#include <QString>

namespace sonivert::test {

// Files that carry the marks of copy protection, made from generated clips. ffmpeg's MP4 muxer
// writes Common Encryption itself; ASF files get the objects a protected file carries patched
// into their header.

// Samples encrypted with AES-CTR under a fixed test key; ffmpeg opens such a file, but its
// samples decode to noise.
bool makeEncryptedMp4(const QString &path, const ClipOptions &options = {});

// Sets the byte at offset (counted from the box's size field) of the first box of that type.
bool patchMp4Box(const QString &path, const char *type, int offset, unsigned char value);

enum class AsfProtection {
    ContentEncryption, // the object of the first ASF protection scheme
    ExtendedContentEncryption, // the object of its successor
    EncryptedStreamFlag, // a stream properties object marked encrypted
};
// Adds the mark to an ASF file made by ffmpeg (.wma, .wmv, .asf).
bool protectAsf(const QString &path, AsfProtection protection);

// Gives the first ordinary header object an impossible size, so that the demuxer refuses the
// header; objects of a protection scheme ahead of it stay intact.
bool breakAsfHeader(const QString &path);

} // namespace sonivert::test
