#!/bin/sh
# Takes the screenshots in docs/ under a virtual X display: the main window (and its CD
# menu, a game on several discs and its patches), progress, options, game selection, save
# name, preview (menu and fade), documentation maker and transfer dialogs, the verify
# result, then a real conversion: the progress window half way through and the message
# box that closes it.
#   docs/screenshots.sh [build folder]
set -eu
here=$(cd "$(dirname "$0")" && pwd)
build=${1:-"$here/../build"}
cmake --build "$build" --target ebf_ui_screenshots ebf_runtime_tree
xvfb-run -a -s "-screen 0 1280x1024x24" \
  "$build/tests/ebf_ui_screenshots" "$build/bin" "$here"
echo "screenshots written to $here"
