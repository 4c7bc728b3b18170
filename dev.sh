#!/usr/bin/env bash
# Velmora's two everyday commands (see README.md):
#   ./dev.sh run    install what is missing, build, build the demo Mac tree, open Velmora on it
#   ./dev.sh test   install what is missing, build, run every test offscreen
# and one for looking at the screens:
#   ./dev.sh shots [OUTDIR]   render every screen of the demo tree to PNG (default: build/shots)
set -euo pipefail
cd "$(dirname "$0")"

PACKAGES=(qt6-base-dev qt6-declarative-dev qml6-module-qtquick qml6-module-qtquick-controls
    qml6-module-qtquick-templates qml6-module-qtquick-layouts qml6-module-qtquick-dialogs
    qml6-module-qt-labs-folderlistmodel qml6-module-qtquick-shapes qml6-module-qtquick-window
    qml6-module-qttest qml6-module-qtqml-workerscript qt6-image-formats-plugins libplist-dev
    libssl-dev fonts-material-design-icons-iconfont fonts-inter cmake ninja-build g++ pkg-config)
# What only the tests use: trash-cli reads back what our Trash writes.
TEST_PACKAGES=(trash-cli)

BUILD=build

. tools/demo/folder.sh
DEMO=$(demo_folder)

install_missing() {
    local missing=()
    for p in "${PACKAGES[@]}" "$@"; do
        dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    echo "Installing: ${missing[*]}"
    local sudo=()
    [ "$(id -u)" -eq 0 ] || sudo=(sudo)
    "${sudo[@]}" apt-get update -qq
    DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq "${missing[@]}"
}

build() {
    [ -f "$BUILD/build.ninja" ] || cmake -S . -B "$BUILD" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
    cmake --build "$BUILD"
}

demo_env() {
    env HOME="$DEMO/Users/demo" VELMORA_ROOT="$DEMO" \
        XDG_DATA_HOME="$DEMO/Users/demo/.local/share" XDG_CONFIG_HOME="$DEMO/Users/demo/.config" "$@"
}

case "${1:-}" in
run)
    install_missing xvfb
    build
    "$BUILD/tools/demo/velmora-demo" "$DEMO"
    if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
        echo "No display here. To open Velmora in a virtual one, run:"
        echo "  xvfb-run -a -s '-screen 0 1280x800x24' ./dev.sh run"
        echo "or render every screen to PNG with: ./dev.sh shots"
        exit 1
    fi
    demo_env "$BUILD/src/velmora"
    ;;
test)
    install_missing "${TEST_PACKAGES[@]}"
    build
    QT_QPA_PLATFORM=offscreen ctest --test-dir "$BUILD" --output-on-failure -j2
    ;;
shots)
    install_missing
    build
    "$BUILD/tools/demo/velmora-demo" "$DEMO"
    demo_env "$BUILD/tools/shots/velmora-shots" "${2:-$BUILD/shots}"
    ;;
*)
    sed -n '2,7p' "$0" | sed 's/^# \{0,1\}//'
    exit 2
    ;;
esac
