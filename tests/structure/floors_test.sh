#!/usr/bin/env bash
# Each kind of include that floors.sh is there to find is found, in a small house of its own; the house without them is
# in order.
#   floors_test.sh <floors.sh>
set -euo pipefail
floors=$(realpath "$1")
house=$(mktemp -d)
trap 'rm -rf "$house"' EXIT
cd "$house"

put() { # FILE [INCLUDE...]
    mkdir -p "$(dirname "$1")"
    : >"$1"
    for name in "${@:2}"; do printf '#include %s\n' "$name" >>"$1"; done
}
put Platform/Z9Sys/include/Z9Log.h '<string>'
put Units/kv7base/include/Money.h '"Z9Log.h"'
put Units/kv7go/include/grids/Row.h '"Money.h"'
put Units/kv7go/include/valuation/Value.h '"instruments/Futures.h"'
put Units/kv7go/include/instruments/Futures.h '"grids/Row.h"' '"valuation/Value.h"'
put Units/kv7go/source/kernels/Kernels.h '"instruments/Futures.h"'
put Units/kv7go/source/kernels/Kernels.cpp '"kernels/Kernels.h"'
put Units/kv7go/include/nodes/Node.h '"instruments/Futures.h"'
put Units/kv7go/source/nodes/Node.cpp '"nodes/Node.h"' '"kernels/Kernels.h"'
put Units/kv7go/include/book/Book.h '"nodes/Node.h"'
put Units/kv7PosCalcLib/include/Accounting.h '"Money.h"'
put Units/kv7ordmanLib/include/Orders.h '"instruments/Futures.h"'
put Units/kv7DomainObjects/include/Client.h '"book/Book.h"' '"Orders.h"' '"Accounting.h"'
put Units/QuindalIM/include/Facade.h '"Client.h"'
put Apps/quindal/report/Report.h '"Facade.h"'
put Apps/quindal/main.cpp '"Report.h"' '<vector>'
"$floors" . || { echo "a house in order is refused"; exit 1; }

failed=0
refused() { # TEXT FILE INCLUDE: with this include the file is refused, in its second line, and with this text
    local kept
    kept=$(mktemp)
    cp "$2" "$kept" 2>/dev/null || { mkdir -p "$(dirname "$2")"; echo >"$2"; rm "$kept"; }
    printf '#include %s\n' "$3" >>"$2"
    local line
    line=$(wc -l <"$2")
    local said
    if said=$("$floors" .) || ! grep -qF "$2:$line: " <<<"$said" || ! grep -qF "$1" <<<"$said"; then
        printf '%s may include %s; floors.sh says:\n%s\n' "$2" "$3" "$said"
        failed=1
    fi
    if [ -f "$kept" ]; then mv "$kept" "$2"; else rm "$2"; fi
}
refused "Z9Sys includes Units/kv7base/include/Money.h" Platform/Z9Sys/include/Z9Log.h '"Money.h"'
refused "kv7base includes Units/kv7go/include/grids/Row.h" Units/kv7base/include/Money.h '"grids/Row.h"'
refused "kv7go includes Units/kv7DomainObjects/include/Client.h" Units/kv7go/include/book/Book.h '<Client.h>'
refused "kv7PosCalcLib includes Units/kv7ordmanLib/include/Orders.h" Units/kv7PosCalcLib/include/Accounting.h '"Orders.h"'
refused "QuindalIM includes" Units/QuindalIM/include/Facade.h '"../../../Apps/quindal/report/Report.h"'
refused "no header of this unit or of a unit below it" Units/QuindalIM/include/Facade.h '"Report.h"'
refused "no header of this unit or of a unit below it" Units/QuindalIM/include/Facade.h '"kernels/Kernels.h"'
refused "grids includes Units/kv7go/include/valuation/Value.h" Units/kv7go/include/grids/Row.h '"valuation/Value.h"'
refused "instruments includes Units/kv7go/source/kernels/Kernels.h" Units/kv7go/source/instruments/Futures.cpp '"kernels/Kernels.h"'
refused "kernels includes Units/kv7go/include/nodes/Node.h" Units/kv7go/source/kernels/Kernels.cpp '"nodes/Node.h"'
refused "nodes includes Units/kv7go/include/book/Book.h" Units/kv7go/source/nodes/Node.cpp '"book/Book.h"'
refused "which its readers do not have" Units/kv7go/include/nodes/Node.h '"kernels/Kernels.h"'
put Units/kv7go/include/replica/Accounts.h '"book/Book.h"'
refused "book includes Units/kv7go/include/replica/Accounts.h" Units/kv7go/include/book/Book.h '"replica/Accounts.h"'
put Units/kv7go/include/Stray.h
if "$floors" . >said.txt || ! grep -qF "stands in no room" said.txt; then
    echo "a file of kv7go outside its rooms is let through"
    failed=1
fi
exit $failed
