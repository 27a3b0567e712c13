#!/usr/bin/env bash
# Format and tidy checks with Debian's clang 14. Format looks at every file. Tidy looks at what has changed since the
# commit that scripts/tidied names, up to which every source has been looked at; QUINDAL_LINT_BASE names another one.
#   --all      tidy looks at every source, and its analyzer as deep as it goes
#   --record   and when all of them are clean, scripts/tidied names the present commit
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
scripts/install-deps.sh --lint
# How each source is compiled by itself; nothing is built there.
cmake --preset release -B build/lint -DQUINDAL_UNITY=OFF >/dev/null

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

# A source that reads a header: the one of its name, or else one that includes it, itself or by way of other headers.
source_that_reads() {
    local name="${1##*/}" found headers=("$1") header
    found="$(git ls-files "Platform/**/${name%.h}.cpp" "Units/**/${name%.h}.cpp" "Apps/**/${name%.h}.cpp" | head -n 1)"
    for ((next = 0; next < ${#headers[@]} && ${#found} == 0; ++next)); do
        for header in $(git grep -lE "#include [\"<](.*/)?${headers[next]##*/}[\">]" -- Platform Units Apps); do
            case $header in
                *.cpp) found="$header"; break ;;
                *.h) [[ " ${headers[*]} " == *" $header "* ]] || headers+=("$header") ;;
            esac
        done
    done
    printf '%s\n' "$found"
}

# The sources among some files, and for each header among them a source that reads it.
sources_that_show() {
    local path
    while read -r path; do
        case $path in
            *.cpp) printf '%s\n' "$path" ;;
            *) source_that_reads "$path" ;;
        esac
    done | sort -u | sed '/^$/d'
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
    mapfile -t sources < <(changed_files "$base" | sources_that_show)
else
    mapfile -t sources < <(git ls-files 'Platform/*.cpp' 'Units/*.cpp' 'Apps/*.cpp')
fi
say "clang-tidy, ${#sources[@]} sources"
if [ "${#sources[@]}" -gt 0 ]; then printf '%s\0' "${sources[@]}" | xargs -0 -n 1 -P 2 scripts/tidy-one.sh; fi
if [ "${1:-}" = "--record" ]; then git rev-parse HEAD >scripts/tidied; fi
