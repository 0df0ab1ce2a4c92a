#pragma once

#include <QString>

namespace sonivert {

// Whether the file's own header says that its content is encrypted: protected sample entries,
// a protection scheme or protection system box in MP4/MOV/3GP, an ASF content-encryption object
// or a stream marked encrypted, a Matroska ContentEncryption. Reads only the header structures
// (never the media data), so it also answers for files the demuxer refuses. A file that is
// missing, unreadable or of any other kind shows no encryption.
bool containerShowsEncryption(const QString &path);

} // namespace sonivert
