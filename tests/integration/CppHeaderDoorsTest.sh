#!/bin/sh
# QuindalIM.hpp calls every function that QuindalIM.h declares, those aside that answer that they are not supported.
#   CppHeaderDoorsTest.sh <include folder>
set -eu
include=$1
unsupported="GetBrokerFinalRisksArray GetBrokerFinalRisksArrayWithPositiveValue GetBrokerRisksArray
    GetClientDeliveryRisksArray GetClientFinalRisksArray GetClientFinalRisksArrayWithPositiveValue
    GetClientFutRisksArray GetClientMcsRisksArray GetClientMmsRisksArray GetClientVfRisksArray GetOptionRisksArray
    GetRiskPoints GetSettlementAccountFinalRisksArray GetSettlementAccountFinalRisksArrayWithPositiveValue"

# The code of the header for C++, without comments and texts.
code=$(sed -e 's,//.*,,' -e 's/"[^"]*"//g' "$include/QuindalIM.hpp")
missing=$(sed -n 's/^QUINDAL_API [^(]*[ *]\([A-Za-z0-9]*\)(.*/\1/p' "$include/QuindalIM.h" | while read -r name; do
    printf '%s\n' "$code" | grep -qw "$name" || echo "$name"
done | LC_ALL=C sort | tr '\n' ' ')
expected=$(printf '%s\n' $unsupported | LC_ALL=C sort | tr '\n' ' ')
if [ "$missing" != "$expected" ]; then
    echo "QuindalIM.hpp does not call: $missing"
    echo "which should be the unsupported: $expected"
    exit 1
fi
