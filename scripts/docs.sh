#!/usr/bin/env bash
# Builds the manual: the pages of docs/ as a site in build/site, of which index.html opens in any browser, and the man pages
# in build/release/man. A link that leads nowhere is an error.
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
scripts/install-deps.sh --docs

configure release
build release quindal quindal_manual
PYTHONDONTWRITEBYTECODE=1 mkdocs build --quiet --clean
say "build/site/index.html"
