# cpack -G DEB (from the build folder) makes sonivert_<version>_<arch>.deb. The library
# dependencies are computed by dpkg-shlibdeps; the converter needs the ffmpeg program besides.
set(CPACK_PACKAGE_NAME sonivert)
set(CPACK_PACKAGE_VENDOR Corvallo)
set(CPACK_PACKAGE_CONTACT "Corvallo <sonivert@corvallo.com>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "convert video files to audio files")
set(CPACK_PACKAGE_DESCRIPTION "Sonivert takes the sound out of video files and saves it in
the audio format you pick: MP3, AAC, FLAC, Ogg Vorbis, Opus, WAV, AIFF and
more. Files come from the Add Files button, drag and drop or the file
manager's Open With; formats and presets can be tuned, files trimmed in a
preview player, and several files converted at once.
.
The sonivert-cli command offers the same engine to scripts.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "ffmpeg")
# The preview player's media backend loads these at run time; no library links them.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "gstreamer1.0-plugins-good, gstreamer1.0-libav")
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://github.com/corvallo/sonivert")
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
include(CPack)
