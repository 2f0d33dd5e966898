#!/usr/bin/env bash
# usage: check_package.sh BUILD_DIR SOURCE_DIR
# Installs, moves the installed tree, builds hosts with the CMake package and with pkg-config in it,
# and runs them.
set -euo pipefail
build=$1 source=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "check_package: $*" >&2; exit 1; }

for component in runtime development; do
  cmake --install "$build" --prefix "$work/staged" --component $component >/dev/null
done
mv "$work/staged" "$work/prefix"
prefix=$work/prefix
libdir=$(dirname "$(find "$prefix" -name libzorfingerprint.so)")
export HOME=$work/home XDG_CONFIG_HOME=$work/config XDG_DATA_HOME=$work/data
unset SNAP_NAME SNAP_VERSION

# A host needs no JSON library: one that it includes, or that the package asks for, stops it.
mkdir -p "$work/forbidden/nlohmann"
echo '#error "a public header includes the JSON library"' >"$work/forbidden/nlohmann/json.hpp"

cmake -S "$source/tests/package" -DZORFINGERPRINT_EXAMPLES="$source/examples" -B "$work/hosts" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_DISABLE_FIND_PACKAGE_nlohmann_json=ON -DCMAKE_CXX_FLAGS="-I$work/forbidden" \
  -DCMAKE_BUILD_TYPE=Release -DCMAKE_EXE_LINKER_FLAGS=-Wl,--gc-sections >/dev/null
cmake --build "$work/hosts" >/dev/null

# With the sources in place of the package, as far as it takes no second build of them.
cmake -S "$source/tests/package" -DZORFINGERPRINT_EXAMPLES="$source/examples" -B "$work/within" -DZORFINGERPRINT_SOURCE="$source" >/dev/null

# Nobody listens where the default profile points: the outcome is a refused connection (-1004),
# which only the module opened from the moved tree can tell.
"$work/hosts/cxx_host" >"$work/cxx.out"
grep -qx 'outcome -1004' "$work/cxx.out" || fail "C++ host: $(cat "$work/cxx.out")"
grep -q '^number 1' "$work/cxx.out" || fail "C++ host: $(cat "$work/cxx.out")"
[ -f "$work/config/zorfingerprint/org.example.packaged.json" ] || fail "the note was not found"
identifier=$(grep '^identifier ........-....-4...-....-............$' "$work/cxx.out")
# Another application of the user finds the identifier in the shared store file.
[ "$("$work/hosts/c_host" | head -1)" = "$identifier" ] || fail "C host: other identifier"

# The host that asks first: nothing is kept before the answer, nor after a refusal.
asking=$work/asking
mkdir "$asking"
asks() {
  HOME=$asking XDG_CONFIG_HOME=$asking/config XDG_DATA_HOME=$asking/data \
    "$work/hosts/consent_host" "$@"
}
kept() { find "$asking" -type f ! -size 0 -printf '%f '; }
[ "$(asks later)" = "no consent" ] || fail "the example did not wait for consent"
[ -z "$(find "$asking" -type f)" ] || fail "kept before consent: $(kept)"
[ "$(asks yes)" = "no fingerprint" ] || fail "the example did not ask the service"
kept | grep -q dfp.store || fail "nothing was kept after consent: $(kept)"
[ "$(asks no)" = "no consent" ] || fail "the example asked the service after a refusal"
[ "$(kept)" = "org.example.asking.json " ] || fail "kept after a refusal: $(kept)"

grep -q '"name": "serial-number", "sealed": true' "$prefix/share/zorfingerprint/entries.json" ||
  fail "no list of entries in the installed tree"

export PKG_CONFIG_LIBDIR=$libdir/pkgconfig LD_LIBRARY_PATH=$libdir  # No other module is found.
read -ra flags <<<"$(pkg-config --cflags --libs zorfingerprint)"
"${CC:-cc}" -Wall -Wpedantic -Werror -o "$work/c_host" "$source/tests/package/host.c" "${flags[@]}"
[ "$("$work/c_host" | head -1)" = "$identifier" ] || fail "pkg-config's C host: other identifier"
"${CXX:-c++}" -std=c++17 -Wall -Wpedantic -Werror -I"$work/forbidden" -o "$work/cxx_host" \
  "$source/tests/package/host.cc" "${flags[@]}" -pthread
"$work/cxx_host" >/dev/null
echo "check_package: hosts built with the CMake package and with pkg-config run"
