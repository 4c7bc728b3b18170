# Where the demo Mac tree lives, for dev.sh and the benchmarks (sourced; the
# caller has cd'd to the checkout and set BUILD): in the build folder, except in
# a checkout under /tmp. The generator never builds there (it is emptied behind
# one's back, and /tmp is a suspicious place to the protection rules), so the
# tree goes to the user's cache folder instead.
demo_folder() {
    local here tmp
    here=$(pwd -P)
    tmp=$(cd /tmp && pwd -P)
    case "$here/" in
    /tmp/* | "$tmp"/*) echo "${XDG_CACHE_HOME:-$HOME/.cache}/velmora/demo-mac" ;;
    *) echo "$here/$BUILD/demo-mac" ;;
    esac
}
