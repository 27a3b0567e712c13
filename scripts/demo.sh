#!/usr/bin/env bash
# From a fresh clone to a printed margin table: installs what is missing, builds the command line and the library, starts
# a private router and server, logs in, downloads the example market, registers the example accounts, sets their
# positions and tries the example what-ifs.
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

configure release
build release quindal_installed # what `cmake --install build/release` takes from here
exec build/release/Apps/quindal/quindal margin \
    --instruments examples/market.xml \
    --accounts examples/accounts.csv \
    --positions examples/positions.csv \
    --orders examples/orders.csv "$@"
