#!/usr/bin/env bash
# Compares three shared libraries with the baseline beside this script: names of symbols, then types and layouts.
# A program built against the baseline's own sources runs with the libraries and must print the same.
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
[ "${2:-}" != --accept ] || { git -C "$root" rev-parse HEAD >"$here/baseline"; exit 0; }

# The host: built against headers and libraries of the baseline, run with both.
baseline=$(cat "$here/baseline")
git -C "$root" archive "$baseline" lorb cmake CMakeLists.txt | tar -x -C "$work"
cmake -S "$work" -B "$work/build" -G Ninja -DLORB_WITH_VTK=OFF -DLORB_BUILD_TOOLS=OFF -DLORB_BUILD_TESTS=OFF \
  -DLORB_BUILD_BENCHMARKS=OFF >/dev/null
nice -n 5 ninja -C "$work/build" -j "${JOBS:-2}" >/dev/null
g++ -std=c++20 -O2 -I "$work" "$here/host.cpp" -o "$work/host" -L "$work/build/lorb" -llorbAlgorithm -llorbDataset \
  -llorbCore
LD_LIBRARY_PATH=$work/build/lorb "$work/host" >"$work/before"
LD_LIBRARY_PATH=$libraries "$work/host" >"$work/after"
diff "$work/before" "$work/after"
echo "host of $baseline: $(wc -l <"$work/after") lines alike with both"
