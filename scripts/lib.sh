# Shared by the scripts of this folder; sourced, not run.
set -euo pipefail
ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cd "$ROOT"

say() { printf '== %s\n' "$*" >&2; }

# Installs what is missing, then configures a preset. The first word is the preset, the rest goes to cmake.
configure() {
    local preset="$1"
    shift
    scripts/install-deps.sh
    # Configuring again costs seconds; a tree that is configured re-runs cmake by itself when it has to.
    if [ ! -f "build/$preset/build.ninja" ] || [ "$#" -gt 0 ]; then
        say "configure $preset"
        cmake --preset "$preset" "$@" >&2
    fi
}

build() {
    local preset="$1"
    shift
    say "build $preset $*"
    cmake --build --preset "$preset" ${1:+--target "$@"} >&2
}
