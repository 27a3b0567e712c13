#!/usr/bin/env bash
# The version of the project stands in CMakeLists.txt. What cannot read it from there says the same: the export's text,
# the pages and headers that quote it, the Python package, the changelog's latest entry, the program.
#   version_test.sh <version> <source directory> <quindal>
set -euo pipefail
version=$1 source=$2 quindal=$3
complaints=0
complain() { echo "$*"; complaints=$((complaints + 1)); }

# says <file> <text before the version>: the first such text of the file is followed by the version of the project and
# then by no further digit.
says() {
    local line
    line=$(grep -m 1 -F -- "$2" "$source/$1") || { complain "$1: has no line with: $2"; return; }
    line=${line#*"$2"}
    [[ $line == "$version"* && ! ${line#"$version"} =~ ^[0-9] ]] ||
        complain "$1: the version behind \"$2\" is not $version, as CMakeLists.txt has it: $line"
}

says Units/QuindalIM/include/CalcGOConsts.h 'LibraryVersion = "'
says Units/QuindalIM/include/QuindalIM.h 'Version of the library, "'
says Units/QuindalIM/include/QuindalIM.h '#define QUINDAL_IM_VERSION_TEXT "'
says docs/api/library.md '`GetQuindalIMLibraryVersion` | the version, "'
says Bindings/python/pyproject.toml 'version = "'
says Bindings/python/quindalim/shared_library.py 'Version of the library, such as "'
says CHANGELOG.md '## ['

said=$("$quindal" --version)
[ "$(head -n 1 <<<"$said")" = "quindal $version" ] || complain "quindal --version begins with: $said"
[[ $(sed -n 's/^libQuindalIM_Client: //p' <<<"$said") == "$version".* ]] ||
    complain "quindal --version tells another version of the library: $said"
exit $((complaints > 0))
