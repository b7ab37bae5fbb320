#!/usr/bin/env bash
# Compares three shared libraries with the baseline beside this script: names of symbols, then types and layouts.
# A program built against the baseline's headers runs with the libraries and must print the same.
#
#   compare.sh LIBRARIES             the folder with liblorb*.so, built from the preset abi
#   compare.sh LIBRARIES --accept    makes them the baseline

set -euo pipefail
libraries=$(realpath "$1")
here=$(realpath "$(dirname "$0")")
root=$(realpath "$here/../../..")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

for name in liblorbCore liblorbDataset liblorbAlgorithm; do
  nm -D --defined-only "$libraries/$name.so" | awk '{print $2, $3}' | LC_ALL=C sort >"$work/$name.symbols"
  abidw --exported-interfaces-only --no-show-locs --no-corpus-path --no-comp-dir-path --drop-private-types \
    --headers-dir "$root/lorb" --out-file "$work/$name.abi" "$libraries/$name.so.2.1.0"
  if [ "${2:-}" = --accept ]; then
    cp "$work/$name.symbols" "$work/$name.abi" "$here"
    continue
  fi
  # New symbols may be added; none may go.
  comm -23 "$here/$name.symbols" "$work/$name.symbols" >"$work/gone"
  [ ! -s "$work/gone" ] || { echo "$name no longer exports:"; c++filt <"$work/gone"; exit 1; }
  abidiff --no-added-syms "$here/$name.abi" "$work/$name.abi"
  echo "$name: $(wc -l <"$here/$name.symbols") symbols of the baseline, types and layouts unchanged"
done

# The host: built against the headers of the baseline, run with the libraries of today.
headers=$here/headers.tar.gz
if [ "${2:-}" = --accept ]; then
  git -C "$root" ls-files 'lorb/*.h' |
    tar -C "$root" -cz --mtime=@0 --owner=0 --group=0 --numeric-owner -f "$headers" --files-from=-
fi
tar -xzf "$headers" -C "$work"
g++ -std=c++20 -O2 -I "$work" "$here/host.cpp" -o "$work/host" -L "$libraries" -llorbAlgorithm -llorbDataset -llorbCore
LD_LIBRARY_PATH=$libraries "$work/host" >"$work/host.out"
[ "${2:-}" != --accept ] || cp "$work/host.out" "$here"
diff "$here/host.out" "$work/host.out"
echo "host of the baseline: $(wc -l <"$here/host.out") lines alike"
