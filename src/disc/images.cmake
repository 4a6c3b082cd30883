# Compressed and encoded images (CHD, ECM) and discs read from a drive, in a library of
# their own because of the decoders and the drive library they bring in.
find_package(PkgConfig REQUIRED)
pkg_check_modules(EBF_LZMA REQUIRED IMPORTED_TARGET GLOBAL liblzma)
pkg_check_modules(EBF_ZSTD REQUIRED IMPORTED_TARGET GLOBAL libzstd)
pkg_check_modules(EBF_FLAC REQUIRED IMPORTED_TARGET GLOBAL flac)
pkg_check_modules(EBF_CDIO REQUIRED IMPORTED_TARGET GLOBAL libcdio libcdio_cdda libcdio_paranoia)
find_package(OpenSSL REQUIRED COMPONENTS Crypto)

add_library(ebf_disc_images STATIC
  cd_ecc.cpp
  ecm_reader.cpp
  chd/chd_cd_image.cpp
  chd/chd_codecs.cpp
  chd/chd_file.cpp
  chd/chd_flac.cpp
  chd/chd_header.cpp
  chd/chd_huffman.cpp
  chd/chd_hunk_reader.cpp
  chd/chd_map.cpp
  chd/chd_metadata.cpp
  chd/chd_read_ahead.cpp
  chd/chd_to_bin.cpp
  rip/cd_drive.cpp
  rip/rip.cpp
)
target_link_libraries(ebf_disc_images PUBLIC ebf_common Threads::Threads
  PRIVATE ZLIB::ZLIB PkgConfig::EBF_LZMA PkgConfig::EBF_ZSTD PkgConfig::EBF_FLAC
  PkgConfig::EBF_CDIO OpenSSL::Crypto)
