#!/usr/bin/env bash
# Format and tidy checks with Debian's clang 14. Format looks at every file. Tidy looks at what has changed since the
# commit that scripts/tidied names, up to which every source has been looked at; QUINDAL_LINT_BASE names another one.
#   --all      tidy looks at every source, and its analyzer as deep as it goes
#   --record   and when all of them are clean, scripts/tidied names the present commit
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
scripts/install-deps.sh --lint
[ -f build/release/compile_commands.json ] || configure release

# A file without its comments, includes and blanks: as long as that stays, tidy has nothing new to say of it.
code_of() { sed -E 's:[/]/.*$::; /^[[:space:]]*#[[:space:]]*include/d' | tr -d '[:space:]'; }

# Sources and headers of which the code differs from a commit; a file that has moved is held against where it was.
changed_files() {
    git diff --name-status -M40% --diff-filter=d "$1" -- 'Platform/*' 'Units/*' 'Apps/*' |
        while IFS=$'\t' read -r status before now; do
            now="${now:-$before}"
            [[ $now =~ \.(cpp|h)$ ]] || continue
            if [ "$status" != A ] && [ "$(git show "$1:$before" | code_of)" = "$(code_of <"$now")" ]; then continue; fi
            printf '%s\n' "$now"
        done
}

# The sources among some files, and for each header among them one source that reads it: the one of its name, or else
# one of those sources, or else the first that the build knows.
sources_that_show() {
    awk -v root="$ROOT/" '
        FILENAME == ARGV[1] { if (/\.cpp$/) sources[$0]; else headers[$0]; next }
        /^[^ ]/ { source = "" }
        /^ / {
            path = $1; sub(root, "", path); sub(/^(\.\.\/)+/, "", path)
            if (source == "") source = path
            if (!(path in headers) || source !~ /^(Platform|Units|Apps)\/.*\.cpp$/) next
            name = path; gsub(/.*\/|\.h$/, "", name)
            rank = source ~ "/" name "[.]cpp$" ? 3 : source in sources ? 2 : 1
            if (rank > best[path]) { best[path] = rank; reader[path] = source }
        }
        END {
            for (path in reader) print reader[path]
            for (path in sources) print path
        }' "$1" <(ninja -C build/release -t deps) | sort -u
}

say "clang-format"
git ls-files '*.cpp' '*.h' '*.hpp' '*.c' | xargs clang-format-14 --dry-run --Werror

base="${QUINDAL_LINT_BASE:-$(cat scripts/tidied)}"
case "${1:-}" in
    --all | --record)
        base=""
        export QUINDAL_LINT_STATES="${QUINDAL_LINT_STATES:-225000}"
        ;;
esac
if [ -n "$base" ] && git rev-parse -q --verify "$base^{commit}" >/dev/null; then
    mapfile -t sources < <(sources_that_show <(changed_files "$base"))
else
    mapfile -t sources < <(git ls-files 'Platform/*.cpp' 'Units/*.cpp' 'Apps/*.cpp')
fi
say "clang-tidy, ${#sources[@]} sources"
if [ "${#sources[@]}" -gt 0 ]; then printf '%s\0' "${sources[@]}" | xargs -0 -n 1 -P 2 scripts/tidy-one.sh; fi
if [ "${1:-}" = "--record" ]; then git rev-parse HEAD >scripts/tidied; fi
