#!/usr/bin/env bash
# The Debian package as a user gets it, unpacked into a scratch root (dpkg-deb -x).
# deb_test.sh metadata|run|install|lintian PACKAGE_FOLDER: what it declares validates; the
# unpacked programs run with a fresh HOME and a read-only share, writing only where they may;
# dpkg installs, removes and purges it in a scratch root; lintian finds nothing.
set -euo pipefail

mode=$1
deb=$(ls "$2"/ebootforge_*.deb)
scratch=$(mktemp -d /tmp/ebf-deb-test.XXXXXX)
cleanup() { chmod -R u+w "$scratch" 2>/dev/null || true; rm -rf "$scratch"; }
trap cleanup EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }
root=$scratch/root
dpkg-deb -x "$deb" "$root"

metadata() {
  local id=io.github.ebootforge.ebootforge
  # Dependencies come from the linked libraries.
  local depends=$(dpkg-deb -f "$deb" Depends)
  for lib in libc6 libstdc++6 zlib1g libpng16-16 libjpeg62-turbo libqt6widgets6; do
    [[ $depends == *"$lib "* ]] || fail "Depends lacks $lib: $depends"
  done

  desktop-file-validate "$root/usr/share/applications/$id.desktop"
  appstreamcli validate --no-net "$root/usr/share/metainfo/$id.metainfo.xml"
  grep -q "<image>.*/docs/main.png</image>" "$root/usr/share/metainfo/$id.metainfo.xml" ||
    fail "no screenshot in the AppStream file"

  # Every type the desktop entry names is known: to the system, or by our own package.
  mkdir -p "$scratch/mime/packages"
  cp "$root/usr/share/mime/packages/ebootforge.xml" "$scratch/mime/packages/"
  update-mime-database "$scratch/mime"
  grep -qx "50:application/x-pbp:\*.pbp" "$scratch/mime/globs2" ||
    fail "*.pbp is not application/x-pbp: $(cat "$scratch/mime/globs2")"
  local types=$(sed -n 's/^MimeType=//p' "$root/usr/share/applications/$id.desktop")
  [[ $types == *"application/x-pbp;"* ]] || fail "the desktop entry does not open packages"
  # The AppStream file offers exactly the types the desktop entry opens.
  local provides opens
  provides=$(sed -n 's|.*<mediatype>\(.*\)</mediatype>.*|\1|p' "$root/usr/share/metainfo/$id.metainfo.xml" | sort)
  opens=$(tr ';' '\n' <<<"$types" | sed '/^$/d' | sort)
  [ "$provides" == "$opens" ] || fail "AppStream provides '$provides'; the desktop entry opens '$opens'"
  IFS=';' read -ra list <<<"$types"
  for t in "${list[@]}"; do
    [[ $t == application/x-pbp ]] && continue
    grep -q "type=\"$t\"" /usr/share/mime/packages/freedesktop.org.xml ||
      fail "the system does not know $t"
  done

  for size in 16 22 24 32 48 64 128 256 512; do
    local icon=$root/usr/share/icons/hicolor/${size}x${size}/apps/$id.png
    file "$icon" | grep -q "PNG image data, $size x $size, 8-bit/color RGBA" ||
      fail "icon $size: $(file "$icon")"
  done

  # The manual pages read as manual pages and carry the help's exit codes and the files.
  local page=$(MANWIDTH=100 man -l "$root/usr/share/man/man1/ebootforge-cli.1.gz" 2>&1)
  [[ $page == *"ebootforge-cli - PlayStation disc images"* ]] || fail "man ebootforge-cli: $page"
  [[ $page == *"2      cancelled (Ctrl+C)"* ]] || fail "no exit codes in the manual page"
  [[ $page == *'$XDG_CONFIG_HOME/ebootforge/ebootforge.ini'* ]] || fail "no FILES section"
  page=$(MANWIDTH=100 man -l "$root/usr/share/man/man1/ebootforge.1.gz" 2>&1)
  [[ $page == *"ebootforge [FILE]"* ]] || fail "man ebootforge: $page"

  local offer=$(bash -c "source '$root/usr/share/bash-completion/completions/ebootforge-cli'
    COMP_WORDS=(ebootforge-cli ba); COMP_CWORD=1; _ebootforge_cli; echo \"\${COMPREPLY[*]}\"")
  [[ $offer == batch ]] || fail "completion offers '$offer' for 'ba'"
}

# A file list with sizes and times of everything under a folder.
snapshot() { (cd "$1" && find . -printf '%p %s %T@ %m\n' | sort); }
# What was written in HOME ($1) but the XDG folders' entries matching $2.
strays() { (cd "$1" && find . -mindepth 1 -not -path ./.cache -not -path ./.config -not -path \
  ./.local -not -path ./.local/share -not -path "./.cache/$2" -not -path "./.config/$2" \
  -not -path "./.local/share/$2"); }

run() {
  local home=$scratch/home games=$scratch/games out=$scratch/out
  mkdir -p "$home" "$games/disc" "$out"
  printf 'BOOT = cdrom:\\SLUS_005.94;1\r\nTCB = 4\r\nEVENT = 10\r\n' >"$games/disc/SYSTEM.CNF"
  head -c 65536 /dev/zero | tr '\0' 'x' >"$games/disc/SLUS_005.94"
  genisoimage -quiet -V GAME -o "$games/Game.iso" "$games/disc"
  rm -rf "$games/disc"
  chmod -R a-w "$root/usr/share/ebootforge" "$games"
  chmod a+rx "$scratch"

  # As root, folder permissions bind nobody: run the programs as an unprivileged user.
  local as=()
  if [ "$(id -u)" -eq 0 ]; then
    chown -R nobody:nogroup "$home" "$out"
    as=(setpriv --reuid=nobody --regid=nogroup --clear-groups)
  fi
  local before_root before_games
  before_root=$(snapshot "$root") before_games=$(snapshot "$games")

  local cli=$root/usr/bin/ebootforge-cli
  local clean_env=(env -i "HOME=$home" "PATH=/usr/bin:/bin" "LANG=C.UTF-8")
  local result=$(cd "$home" && "${as[@]}" "${clean_env[@]}" "$cli" convert "$games/Game.iso" \
    -o "$out/Game" --level 1 --title "Scratch Game" --yes --json)
  python3 -c 'import json, sys; j = json.loads(sys.argv[1]); assert (j["outcome"], j["output"],
    j["gameId"]) == ("success", sys.argv[2], "SLUS00594"), j' "$result" "$out/Game/EBOOT.PBP" ||
    fail "convert said: $result"

  [ "$(snapshot "$root")" == "$before_root" ] || fail "the unpacked tree changed"
  [ "$(snapshot "$games")" == "$before_games" ] || fail "the games folder changed"
  # In HOME only the program's own XDG folders; the work files went to the cache one.
  local stray=$(strays "$home" 'ebootforge*')
  [ -z "$stray" ] || fail "written in HOME: $stray"
  [ -d "$home/.cache/ebootforge/Temp" ] || fail "the work files did not go to ~/.cache"
  [ "$(cd "$out" && find . -mindepth 1 | sort | tr '\n' ' ')" == "./Game ./Game/EBOOT.PBP " ] ||
    fail "the output folder holds: $(cd "$out" && find .)"

  [ -x "$root/usr/bin/ebootforge" ] && desktop_start "${as[@]}"
}

# The desktop program starts from the unpacked tree, is watched until its main window is
# drawn (Qt's minimal platform saves every frame with QT_DEBUG_BACKINGSTORE; a refused start
# draws only a small message box), and killed. It writes only under HOME's XDG folders.
desktop_start() {
  local as=("$@")
  local home=$scratch/gui-home frames=$scratch/gui-frames tmp=$scratch/gui-tmp runtime=$scratch/gui-runtime
  mkdir -p "$home" "$frames" "$tmp" "$runtime"
  chmod 700 "$runtime"
  [ "$(id -u)" -eq 0 ] && chown nobody:nogroup "$home" "$frames" "$tmp" "$runtime"
  local before_root=$(snapshot "$root")
  (cd "$frames" && exec "${as[@]}" env -i "HOME=$home" "PATH=/usr/bin:/bin" "LANG=C.UTF-8" \
    "TMPDIR=$tmp" "XDG_RUNTIME_DIR=$runtime" QT_QPA_PLATFORM=minimal QT_DEBUG_BACKINGSTORE=1 \
    "$root/usr/bin/ebootforge" >"$scratch/gui.txt" 2>&1) &
  local pid=$! drawn=""
  for _ in $(seq 1 300); do
    drawn=$(file -b "$frames"/output*.png 2>/dev/null | awk -F'[ ,]+' \
      '/^PNG image data/ && $4 >= 600 && $6 >= 300')
    if [ -n "$drawn" ] || ! kill -0 "$pid" 2>/dev/null; then break; fi
    sleep 0.1
  done
  local alive=yes said
  kill -0 "$pid" 2>/dev/null || alive=no
  kill "$pid" 2>/dev/null || true
  wait "$pid" 2>/dev/null || true
  said=$(grep -v QMinimalBackingStore "$scratch/gui.txt" || true)
  [ "$alive" == yes ] || fail "the desktop program ended by itself: $said"
  [ -n "$drawn" ] || fail "the desktop program drew no main window: $(file "$frames"/* 2>&1) $said"

  [ "$(snapshot "$root")" == "$before_root" ] || fail "the desktop program changed the tree"
  local stray=$(strays "$home" '*')
  [ -z "$stray" ] || fail "the desktop program wrote in HOME: $stray"
  stray=$(cd "$tmp" && find . -mindepth 1 -not -name 'ebootforge-*')
  [ -z "$stray" ] || fail "the desktop program wrote in TMPDIR: $stray"
}

# dpkg -i, man, --remove and --purge in a scratch root with its own instdir, database and log.
install() {
  local inst=$scratch/inst admin=$scratch/dpkg
  mkdir -p "$inst" "$admin/info" "$admin/updates" "$admin/triggers"
  : >"$admin/available"
  # Dependencies satisfied, not forced: the scratch database holds this machine's status
  # entries of the packages depended on.
  local name
  : >"$admin/status"
  for name in $(dpkg-deb -f "$deb" Depends | tr ',|' '\n\n' | sed 's/(.*)//; s/:any//; s/[[:space:]]//g'); do
    dpkg-query -s "$name" >>"$admin/status" 2>/dev/null && echo >>"$admin/status"
  done
  local dpkg=(dpkg "--instdir=$inst" "--admindir=$admin" "--log=$scratch/dpkg.log")
  [ "$(id -u)" -eq 0 ] || dpkg+=(--force-not-root)

  "${dpkg[@]}" -i "$deb" >"$scratch/install.txt" 2>&1 ||
    fail "dpkg -i: $(cat "$scratch/install.txt")"
  local status=$(dpkg-query "--admindir=$admin" -W -f='${Status}' ebootforge)
  [ "$status" == "install ok installed" ] || fail "after dpkg -i the package is '$status'"
  # The program runs from where dpkg put it.
  local version=$(env -i "HOME=$scratch/home" "PATH=/usr/bin:/bin" "$inst/usr/bin/ebootforge-cli" \
    --version)
  [[ $version == "ebootforge-cli "[0-9]* ]] || fail "installed --version printed '$version'"

  # man finds the pages by name in the installed manual tree, not by file name.
  local page
  page=$(MANWIDTH=100 man -M "$inst/usr/share/man" ebootforge-cli 2>&1) ||
    fail "man ebootforge-cli: $page"
  [[ $page == *"ebootforge-cli - PlayStation disc images"* ]] || fail "man ebootforge-cli: $page"

  "${dpkg[@]}" --remove ebootforge >"$scratch/remove.txt" 2>&1 ||
    fail "dpkg --remove: $(cat "$scratch/remove.txt")"
  "${dpkg[@]}" --purge ebootforge >"$scratch/purge.txt" 2>&1 ||
    fail "dpkg --purge: $(cat "$scratch/purge.txt")"
  status=$(dpkg-query "--admindir=$admin" -W -f='${Status}' ebootforge 2>/dev/null || true)
  [ -z "$status" ] || [ "$status" == "unknown ok not-installed" ] ||
    fail "after --purge the package is '$status'"
  local left=$(cd "$inst" && find . -mindepth 1 \( -not -type d -o -path '*ebootforge*' \))
  [ -z "$left" ] || fail "left after --purge: $left"
}

# Debian's own checker, as the archive runs it; not as root, which lintian warns against.
lint() {
  local as=()
  cp "$deb" "$scratch/"
  if [ "$(id -u)" -eq 0 ]; then
    chmod a+rx "$scratch" && chmod a+r "$scratch/$(basename "$deb")"
    as=(setpriv --reuid=nobody --regid=nogroup --clear-groups env HOME="$scratch" TMPDIR=/tmp)
  fi
  local said
  said=$("${as[@]}" lintian --fail-on error,warning --tag-display-limit 0 \
    "$scratch/$(basename "$deb")" 2>&1) || fail "lintian: $said"
  [ -z "$said" ] || echo "$said"
}

case $mode in
  metadata) metadata ;;
  lintian) lint ;;
  run) run ;;
  install) install ;;
  *) fail "unknown mode $mode" ;;
esac
echo "OK: $mode"
