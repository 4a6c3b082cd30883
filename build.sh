#!/usr/bin/env bash
# ./build.sh run      install what is missing, build, start the program
# ./build.sh test     install what is missing, build, run every test
# ./build.sh package  install what is missing, build, make the Debian package in build/
set -euo pipefail
cd "$(dirname "$0")"

# Debian packages the build and the tests need.
PACKAGES=(
  cmake g++ make pkg-config
  zlib1g-dev libpng-dev libjpeg-dev libgif-dev libdeflate-dev libssl-dev
  libtinyxml2-dev liblzma-dev libzstd-dev libflac-dev libcdio-dev libcdio-paranoia-dev
  qt6-base-dev libcli11-dev nlohmann-json3-dev libgtest-dev libgmock-dev libbenchmark-dev
  clang-format
  # the Debian package: manual pages, and the tools that check what it ships
  dpkg-dev help2man desktop-file-utils appstream shared-mime-info man-db file lintian
  # independent witnesses used by the tests
  genisoimage xorriso pngcheck imagemagick python3 mame-tools xdelta3
  # GUI tests and screenshots without a display; fuzzers
  xvfb xauth clang libclang-rt-14-dev
)
# The converter's fast block hashing; the library exists for x86-64 only.
if [ "$(dpkg --print-architecture 2>/dev/null)" = amd64 ]; then PACKAGES+=(libipsec-mb-dev); fi

install_missing() {
  local missing=()
  for p in "${PACKAGES[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
      missing+=("$p")
    fi
  done
  if [ ${#missing[@]} -gt 0 ]; then
    echo "Installing missing packages: ${missing[*]}"
    local sudo=""
    [ "$(id -u)" -ne 0 ] && sudo="sudo"
    $sudo apt-get update
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y --no-install-recommends "${missing[@]}"
  fi
}

configure_and_build() {
  cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@"
  cmake --build build -j2
}

case "${1:-}" in
  run)
    install_missing
    configure_and_build
    if [ -x build/bin/ebootforge ] && { [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; }; then
      exec build/bin/ebootforge "${@:2}"
    fi
    echo
    if [ ! -x build/bin/ebootforge ]; then
      echo "The desktop program is not built yet; the command-line program is ready:"
    else
      echo "No display found; the command-line program is ready:"
    fi
    echo "  build/bin/ebootforge-cli --help"
    build/bin/ebootforge-cli --help || true
    ;;
  test)
    install_missing
    configure_and_build
    export QT_QPA_PLATFORM=offscreen
    ctest --test-dir build --output-on-failure -j2
    ;;
  package)
    install_missing
    configure_and_build
    (cd build && cpack -G DEB)
    echo
    echo "Install it with:  sudo apt install ./build/$(cd build && ls ebootforge_*.deb | tail -1)"
    ;;
  *)
    echo "usage: ./build.sh run|test|package" >&2
    exit 2
    ;;
esac
