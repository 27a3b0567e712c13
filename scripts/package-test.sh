#!/usr/bin/env bash
# Tests the packages of build/packages. Lintian finds no error, systemd finds the units sound and closed. Then a root
# directory with nothing but what the packages depend on gets them: the command line prints the margins of README.md,
# Python and a C program print one, router and server run as their units say, and another libZ9Sys takes the place of ours.
# After a purge nothing is left.
# Needs neither network nor systemd; without root it takes a user namespace.
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
if [ "$(id -u)" -ne 0 ]; then exec unshare --map-root-user --mount "$0"; fi

packages=("$ROOT"/build/packages/*.deb)
[ -f "${packages[0]}" ] || { echo "no packages in build/packages: run scripts/package.sh" >&2; exit 1; }
work="$(mktemp -d "${TMPDIR:-/tmp}/quindal-package-XXXXXX")"
root="$work/root"
started=()
finish() {
    for process in "${started[@]}"; do kill "$process" 2>/dev/null && wait "$process" 2>/dev/null || true; done
    if mountpoint -q "$root/dev"; then umount -l "$root/dev"; fi
    rm -rf --one-file-system "$work"
}
trap finish EXIT
fail() {
    echo "package test: $*" >&2
    exit 1
}
surroundings=(PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8)
inside() { env -i "${surroundings[@]}" "$@"; }

# The machine's own files of the installed packages that these ones need, of the essential ones and of systemd, as a root
# of its own.
make_root() {
    local needed essential names
    # A name, or what provides it.
    needed="$(for package in "${packages[@]}"; do dpkg-deb -f "$package" Depends; done | tr ',|' '\n' | sed 's/(.*//; s/ //g' |
        awk 'FNR == NR { wanted[$1]; next } { for (i = 1; i <= NF; ++i) if ($i in wanted) print $1 }' - \
            <(dpkg-query -W -f '${Package} ${Provides}\n' | sed 's/([^)]*)//g; s/,/ /g') |
        grep -v -e '^libz9sys' -e '^libquindalim' | sort -u)"
    essential="$(dpkg-query -W -f '${Package} ${Essential}\n' | sed -n 's/ yes$//p')"
    # shellcheck disable=SC2086 # names are words
    mapfile -t names < <(comm -12 <(dpkg-query -W -f '${db:Status-Abbrev} ${Package}\n' | sed -n 's/^ii  *//p' | sort -u) \
        <(apt-cache depends --recurse --installed --no-recommends --no-suggests --no-conflicts --no-breaks \
            --no-replaces --no-enhances $needed $essential systemd procps | grep '^[a-z0-9]' | sort -u))
    mkdir -p "$root"/{dev,etc,proc,root,tmp,run,usr/bin,usr/sbin,usr/lib,usr/lib64,var/lib/dpkg/info,var/lib/dpkg/updates}
    chmod 1777 "$root/tmp"
    for folder in bin sbin lib lib64; do ln -s "usr/$folder" "$root/$folder"; done
    dpkg-query -L "${names[@]}" | grep -v -e '^/usr/share/\(doc\|man\|locale\|info\)/' -e '^/var/lib/dpkg' |
        sed -e '/^\/\.$/d; s|^/||; s|^\(bin\|sbin\|lib\|lib64\)/|usr/\1/|' | sort -u >"$work/files"
    (cd / && tar --create --no-recursion --ignore-failed-read --files-from "$work/files" 2>/dev/null || true) |
        tar --extract --no-same-owner --keep-directory-symlink --directory "$root"
    cp -dR /etc/alternatives "$root/etc/"
    cp -dR /etc/passwd /etc/group "$root/etc/"
    find /usr/bin /usr/sbin -type l -lname '/etc/alternatives/*' -exec cp -dRn --target-directory "$root/usr/bin" {} +
    dpkg-query -s "${names[@]}" >"$root/var/lib/dpkg/status"
    for name in "${names[@]}"; do
        cp -dR /var/lib/dpkg/info/"$name"{,:amd64}.{list,triggers,conffiles,preinst,postinst,prerm,postrm} \
            "$root/var/lib/dpkg/info/" 2>/dev/null || true
    done
    mknod -m 666 "$root/dev/null" c 1 3 2>/dev/null && mknod -m 666 "$root/dev/urandom" c 1 9 2>/dev/null ||
        { rm -f "$root/dev/null" && mount --rbind /dev "$root/dev"; }
    chroot "$root" ldconfig
}

# Paths in the root but for what every run of dpkg, of the loader's cache and of Python's own modules changes.
listing() {
    (cd "$root" && find . -xdev \( -path ./dev -o -path ./var/lib/dpkg -o -path ./var/log -o -path ./etc/ld.so.cache \
        -o -path ./var/cache/ldconfig -o -name __pycache__ ! -path '*quindalim*' \) -prune -o -printf '%p %y %m %l\n' | sort)
}

say "lintian"
lintian --allow-root --fail-on error --tag-display-limit 0 "${packages[@]}"

say "what an application has to have"
for package in libquindalim9 libz9sys; do
    dpkg-deb -f build/packages/"$package"_*.deb Depends | tr ',|' '\n' | sed 's/(.*//; s/ //g; s/[0-9.v-]*\(-fmt9\)*$//'
done | sort -u | tr '\n' ' ' >"$work/runtime"
[ "$(cat "$work/runtime")" = "libc libgcc-s libnats libsnappy libspdlog libstdc++ libz9sys libz9sys-abi " ] ||
    fail "the libraries depend on others than they need: $(cat "$work/runtime")"

say "a clean root"
make_root
listing >"$work/before"
mkdir "$work/debs" && cp "${packages[@]}" "$work/debs"
install() { inside dpkg --root="$root" --install "$work"/debs/*.deb >"$work/dpkg.log" 2>&1; }
install || { cat "$work/dpkg.log" && fail "the packages do not install"; }

say "all that cmake installs"
cmake --install build/release --prefix "$work/tree" >/dev/null
(cd "$work/tree" && find . -not -type d) >"$work/files"
while read -r file; do
    [ -e "$root/usr/$file" ] || fail "no package has ${file#./}: its install() has no COMPONENT of cmake/QuindalPackages.cmake"
done <"$work/files"

say "units"
systemd-analyze verify --root="$root" --man=no "$root"/usr/lib/systemd/system/quindal-*.service
for unit in "$root"/usr/lib/systemd/system/quindal-*.service; do
    systemd-analyze security --no-pager --offline=true --threshold=15 "$unit" >"$work/security" ||
        { cat "$work/security" && fail "$unit is less closed than it was"; }
done

say "figures"
run() { inside chroot "$root" "$@"; }
[ "$(run /usr/bin/ldd /usr/bin/quindal | grep -c 'libZ9Sys.so => /lib')" -eq 1 ] || fail "quindal finds no libZ9Sys"
examples=/usr/share/doc/quindal/examples
run quindal margin --instruments $examples/market.xml --accounts $examples/accounts.csv \
    --positions $examples/positions.csv --orders $examples/orders.csv >"$work/printed"
awk '/^Client   Firm/ { on = 1 } on && /^```$/ { exit } on' README.md | diff - "$work/printed" ||
    fail "the demo prints other figures than README.md"
python="$(awk '$0 == "```python" { on = 1; next } on && $0 == "```" { exit } on' Bindings/python/README.md |
    sed "s|examples/|$examples/|")"
printed="$(run python3 -c "$python")"
[ "$printed" = "$(awk '/^prints$/ { getline; getline; getline; print; exit }' Bindings/python/README.md)" ] ||
    fail "Python prints $printed"

# shellcheck disable=SC2046 # flags are words
"${CC:-cc}" tests/integration/install_test/main.c -o "$root/tmp/program" -Wl,--unresolved-symbols=ignore-in-shared-libs \
    $(PKG_CONFIG_LIBDIR="$root/usr/lib/x86_64-linux-gnu/pkgconfig" PKG_CONFIG_PATH='' pkg-config --cflags --libs quindalim)
readelf -d "$root/tmp/program" | grep -q 'NEEDED.*libQuindalIM_Client.so.9\]' || fail "a program is linked to no soname"

say "router and server, as docs/operate.md and the units say"
port="$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')"
sed -i "s/4622/$port/" "$root/etc/quindal/router.conf" "$root/etc/quindal/quindal.ini"
# Starts what a unit starts, as systemd does but without its walls.
start() {
    local command variables
    command="$(sed -n 's/^ExecStart=//p' "$root/usr/lib/systemd/system/$1.service" | sed "s/4622/$port/")"
    mapfile -t variables < <(grep '^QUINDAL_' "$root/etc/quindal/passwords")
    : >"$work/$1"
    # shellcheck disable=SC2086 # a command is words
    (exec env -i "${surroundings[@]}" chroot "$root" env "${variables[@]}" $command) >"$work/$1" 2>&1 & # the process itself
    started+=($!)
    for _ in $(seq 100); do
        if grep -q -e 'Server is ready' -e "on port $port" "$work/$1"; then return; fi
        sleep 0.1
    done
    cat "$work/$1" && fail "$1 does not start"
}
typed=0
while read -r line; do
    case "$line" in
    'sudo systemctl enable --now quindal-router quindal-server') start quindal-router && start quindal-server ;;
    *) run sh -ec "${line#sudo }" || { cat "$work"/quindal-* && fail "docs/operate.md: $line"; } ;;
    esac
    typed=$((typed + 1))
done < <(sed -n 's/^\$ //p' docs/operate.md)
[ "$typed" -eq 6 ] || fail "docs/operate.md has $typed commands"
password="$(sed -n 's/^QUINDAL_USER01_PASSWORD=//p' "$root/etc/quindal/passwords")"
printed="$(run env -C /tmp ./program /etc/quindal/quindal.ini USER01 "$password" INDX-12.26)"
[[ "$printed" =~ ^margin\ [1-9] ]] || fail "the C program prints \"$printed\""
for process in "${started[@]}"; do kill "$process" && wait "$process" || true; done
started=()

say "another libZ9Sys in the place of ours"
mkdir -p "$work/exchange/DEBIAN" "$work/exchange/usr/lib/x86_64-linux-gnu"
cp "$root/usr/lib/x86_64-linux-gnu/libZ9Sys.so" "$work/exchange/usr/lib/x86_64-linux-gnu/"
printf '%s\n' 'Package: exchange-z9sys' 'Version: 1' 'Architecture: amd64' 'Maintainer: nobody <nobody@localhost>' \
    'Description: stands in for the package of an exchange' 'Provides: libz9sys-abi' 'Conflicts: libz9sys-abi' \
    'Replaces: libz9sys-abi' >"$work/exchange/DEBIAN/control"
dpkg-deb --root-owner-group --build "$work/exchange" "$work/exchange.deb" >/dev/null
# As apt does it: out with one, in with the other. Then whoever needs it is satisfied by either.
inside dpkg --root="$root" --force-depends --remove libz9sys >"$work/dpkg.log" 2>&1
inside dpkg --root="$root" --install "$work/exchange.deb" "$work"/debs/{quindal,libquindalim}*.deb >"$work/dpkg.log" 2>&1 ||
    { cat "$work/dpkg.log" && fail "the exchange's libZ9Sys cannot take the place of ours"; }
run quindal --version >/dev/null || fail "quindal does not start over another libz9sys"

say "nothing left behind"
for process in /proc/[0-9]*; do
    if [ "$(readlink "$process/root" 2>/dev/null)" = "$root" ]; then
        fail "${process#/proc/} still runs: $(tr '\0' ' ' <"$process/cmdline")"
    fi
done
rm "$root/tmp/program" "$root/etc/quindal/passwords" "$root/etc/quindal/market.xml" # ours, not the packages'
# shellcheck disable=SC2046 # names are words
inside dpkg --root="$root" --purge $(for package in "${packages[@]}"; do dpkg-deb -f "$package" Package; done) exchange-z9sys \
    >"$work/dpkg.log" 2>&1 || { cat "$work/dpkg.log" && fail "the packages do not leave"; }
listing | diff "$work/before" - || fail "something is left"
