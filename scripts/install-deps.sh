#!/usr/bin/env bash
# Installs the Debian 12 packages that the project builds, runs and is tested with. Asks apt only for what is missing.
set -euo pipefail

packages=(
    g++ cmake ninja-build pkg-config git ca-certificates
    libboost-dev libpugixml-dev libsnappy-dev libsparsehash-dev libhwy-dev
    libnats-dev nats-server libspdlog-dev libsimpleini-dev
    libcli11-dev libcsv-dev nlohmann-json3-dev libbsd-dev libmd-dev libcpp-httplib-dev
    libcairo2-dev fonts-dejavu-core
    libgtest-dev libgmock-dev librapidcheck-dev libbenchmark-dev libquantlib0-dev
    qemu-user locales openssl
)
if [ "${1:-}" = "--lint" ]; then packages+=(clang-format-14 clang-tidy-14); fi
if [ "${1:-}" = "--tests" ]; then
    packages+=(python3 python3-pytest mypy python3-numpy python3-pandas python3-matplotlib)
    packages+=(python3-pip python3-setuptools python3-wheel)
    packages+=(universal-ctags chromium chromium-driver python3-selenium)
fi
if [ "${1:-}" = "--package" ]; then
    packages+=(dpkg-dev file chrpath lintian systemd procps pandoc python3 python3-pip python3-setuptools python3-wheel)
fi
# The manual: man pages, and the pages of docs/ as a site.
if [ "${1:-}" = "--tests" ] || [ "${1:-}" = "--docs" ]; then
    packages+=(python3 pandoc man-db mandoc mkdocs mkdocs-material)
fi
if [ "${1:-}" = "--clang" ]; then packages+=(clang-14 libclang-rt-14-dev llvm-14); fi
if [ "${1:-}" = "--coverage" ]; then packages+=(gcovr); fi
if [ "${1:-}" = "--memcheck" ]; then packages+=(valgrind); fi

missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed || missing+=("$package")
done
[ "${#missing[@]}" -eq 0 ] && exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then as_root=(sudo); fi
printf '== install %s\n' "${missing[*]}" >&2
export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get update -qq >&2
"${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
