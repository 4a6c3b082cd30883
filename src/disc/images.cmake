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
)
target_link_libraries(ebf_disc_images PUBLIC ebf_common
  PRIVATE ZLIB::ZLIB PkgConfig::EBF_LZMA PkgConfig::EBF_ZSTD PkgConfig::EBF_FLAC
  PkgConfig::EBF_CDIO OpenSSL::Crypto)
