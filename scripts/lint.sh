#!/usr/bin/env bash
# Format and tidy checks with Debian's clang 14. Format looks at every file. Tidy looks at the sources that differ from
# the commit QUINDAL_LINT_BASE names, or at all of them: by --all, when nothing is named, or when the commit is unknown.
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
scripts/install-deps.sh --lint
[ -f build/release/compile_commands.json ] || configure release

say "clang-format"
git ls-files '*.cpp' '*.h' '*.c' | xargs clang-format-14 --dry-run --Werror

base="${QUINDAL_LINT_BASE:-}"
if [ "${1:-}" != "--all" ] && [ -n "$base" ] && git rev-parse -q --verify "$base^{commit}" >/dev/null; then
    mapfile -t sources < <(git diff --name-only --diff-filter=d "$base" -- 'Platform/*.cpp' 'Units/*.cpp' 'Apps/*.cpp')
else
    mapfile -t sources < <(git ls-files 'Platform/*.cpp' 'Units/*.cpp' 'Apps/*.cpp')
fi
say "clang-tidy, ${#sources[@]} sources"
[ "${#sources[@]}" -eq 0 ] && exit 0
printf '%s\0' "${sources[@]}" | xargs -0 -n 1 -P 2 scripts/tidy-one.sh
