#!/usr/bin/env bash
# Format and tidy checks with Debian's clang 14. Format looks at every file. Tidy looks at what has changed since the
# commit that scripts/tidied names, up to which every source has been looked at; QUINDAL_LINT_BASE names another one.
#   --all      tidy looks at every source
#   --record   and when all of them are clean, scripts/tidied names the present commit
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
scripts/install-deps.sh --lint
[ -f build/release/compile_commands.json ] || configure release

# The sources that differ from a commit, and for each header that differs one source that includes it: the one of its
# name, or else the first that the build knows.
changed_sources() {
    git diff --name-only --diff-filter=d "$1" -- 'Platform/*.cpp' 'Units/*.cpp' 'Apps/*.cpp'
    git diff --name-only --diff-filter=d "$1" -- 'Platform/*.h' 'Units/*.h' 'Apps/*.h' |
        awk -v root="$ROOT/" '
            FNR == NR { headers[$0]; next }
            /^[^ ]/ { source = "" }
            /^ / {
                path = $1; sub(root, "", path)
                if (source == "") source = path
                if (path in headers && source ~ /^(Platform|Units|Apps)\/.*\.cpp$/) {
                    name = path; gsub(/.*\/|\.h$/, "", name)
                    if (!(path in reader) || source ~ "/" name "[.]cpp$") reader[path] = source
                }
            }
            END { for (path in reader) print reader[path] }' - <(ninja -C build/release -t deps)
}

say "clang-format"
git ls-files '*.cpp' '*.h' '*.c' | xargs clang-format-14 --dry-run --Werror

base="${QUINDAL_LINT_BASE:-$(cat scripts/tidied)}"
case "${1:-}" in
    --all | --record) base="" ;;
esac
if [ -n "$base" ] && git rev-parse -q --verify "$base^{commit}" >/dev/null; then
    mapfile -t sources < <(changed_sources "$base" | sort -u)
else
    mapfile -t sources < <(git ls-files 'Platform/*.cpp' 'Units/*.cpp' 'Apps/*.cpp')
fi
say "clang-tidy, ${#sources[@]} sources"
if [ "${#sources[@]}" -gt 0 ]; then printf '%s\0' "${sources[@]}" | xargs -0 -n 1 -P 2 scripts/tidy-one.sh; fi
if [ "${1:-}" = "--record" ]; then git rev-parse HEAD >scripts/tidied; fi
