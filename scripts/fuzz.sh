#!/usr/bin/env bash
# Builds the fuzz targets and runs each for some seconds (30, or the first argument), on a corpus that grows from the
# examples. Further arguments name the targets. Stops at the first input that breaks something and tells where it is.
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
seconds="${1:-30}"
shift || true
targets=("$@")
if [ "${#targets[@]}" -eq 0 ]; then
    targets=(xml user_info instruments compressed_block ini trading_codes decimals format time link_forms
        position_state accounts positions orders)
fi

scripts/install-deps.sh --clang
configure fuzz
build fuzz quindal_fuzzers

corpus=build/fuzz/corpus
for target in "${targets[@]}"; do mkdir -p "$corpus/$target"; done

# seed TARGET NAME: the first input of a target from standard input.
seed() { if [ -d "$corpus/$1" ]; then cat > "$corpus/$1/$2"; fi; }

market() { printf '<root>'; printf '%s' "$@"; printf '</root>'; }
# The elements of the example market, one a line.
mapfile -t elements < <(sed -e 's/<!--.*-->//' examples/market.xml | tr '\n' ' ' | grep -oE '<[A-Z][A-Za-z]* [^>]*/>')
# Kinds behind the first occurrence of each other, so that parents come before children.
first() { printf '%s\n' "${elements[@]}" | grep -m "${2:-1}" "^<$1 "; }
small="$(market "$(first CommonParameters)" "$(first Currency)" "$(first BaseContract)" "$(first Futures 2)" \
    "$(first VirtFutures)" "$(first Option 2)" "$(first Multileg 2)")"

seed instruments market < examples/market.xml
seed instruments small <<< "$small"
seed xml small <<< "<!DOCTYPE root><?x y?><!-- &no; -->${small%</root>}<![CDATA[x]]>&amp;&#x41;</root>"
seed compressed_block text < <(printf '%s\0\0\0\0\1\1' "$small") # numbers and flags stand at the end
seed compressed_block block < <(printf '\7\30<root/>\0\0\0\0\1\0')
for file in accounts positions orders; do seed "$file" example < "examples/$file.csv"; done
seed user_info client <<< '<?xml version="1.0"?><root><Clients part_count="10" login_type="CLIENT"/></root>'
seed ini quindal < <(printf 'IM\\.key\\.value\\.; comment\n[IM]\nkey = old\nother=2\r\n[log:QuindalIM]\nfile = a.log\n')
seed trading_codes client < <(printf 'CL01001')
seed trading_codes firm < <(printf 'CL01')
seed decimals price < <(printf -- '-26710.50\5\20')
seed format line < <(printf '%%-8.3lf %%R %%P %%B %%I64d %%*.*s %%ls %%n %%c\100\1')
seed time slashes < <(printf '2026/12/17/19/00/00/000')
seed time dashes < <(printf '2026-12-17 19:00:00.123')
# A deal, and a state of one position and one currency.
seed position_state one < <(printf '\100\102\17\0\0\0\0\0\5\0\0\0\0\0\0\0'
    head -c 16 /dev/zero && printf '\1\0\0\0\1\0\0\0\3\0\0\0' && head -c 84 /dev/zero
    printf '\110\3\0\0' && head -c 12 /dev/zero)
seed link_forms text < <(printf 'a%%20b%%00\1\2\3\4')
seed link_forms login < <(printf 'USER01;PASSWORD=se;cret\0\0\0\0')
seed link_forms greeting < <(printf 'INFO {"auth_required":true,"max_payload":1048576}\0\0\0\0')
seed link_forms discovery < <(printf '%s\0\0\0\0' '{"type":"io.nats.micro.v1.info_response",' \
    '"name":"kv7go_srv_60","endpoints":[{"subject":"z9.svc.kv7go_srv_60"}]}' | tr -d '\0')

mkdir -p build/fuzz/findings
for target in "${targets[@]}"; do
    say "fuzz $target, $seconds s"
    words=()
    case "$target" in xml | user_info | instruments | compressed_block) words=(-dict=tests/fuzz/replies.dict) ;; esac
    "build/fuzz/tests/fuzz/fuzz_$target" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=4096 -verbosity=0 \
        -print_final_stats=1 "${words[@]}" -artifact_prefix="build/fuzz/findings/$target-" "$corpus/$target"
done
