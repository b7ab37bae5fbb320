#!/bin/bash
# Checks what the shared libraries export and how they are named.
#   exportedSymbols.sh WITH_VTK VERSION liblorbCore.so liblorbDataset.so liblorbAlgorithm.so

set -euo pipefail
withVtk=$1 version=$2 core=$3 dataset=$4 algorithm=$5
failures=0

expect() {  # what, found, expected
  if [ "$2" != "$3" ]; then
    echo "$1: found '$2', expected '$3'"
    failures=$((failures + 1))
  fi
}

# Template functions are demangled with their result type in front: "W bool lorb::X::f<...>(...)".
countOf() {  # library, qualified name as a regular expression
  nm -DC --defined-only "$1" | grep -cE "^[0-9a-f]+ [TW] ([a-z]+ )*lorb::$2[<(]" || true
}

expectCount() {  # library, qualified name, expected
  expect "symbols $2 of $(basename "$1")" "$(countOf "$1" "$2")" "$3"
}

class=EuclideanDistanceTransform2D
expectCount "$algorithm" "$class::twoSidedIn" 36
expectCount "$algorithm" "$class::twoSidedOut" 6
expectCount "$algorithm" "$class::computeAllSlicesTwoSided" 36
expectCount "$algorithm" "$class::computeSingleSliceTwoSided" 36
expectCount "$algorithm" "$class::computeTwoSidedT" 22
expectCount "$algorithm" "$class::computeTwoSided" 4
expectCount "$algorithm" "$class::compute" 1
expectCount "$algorithm" "$class::setPlane" 1
expectCount "$algorithm" "$class::SqrtLookUpTable::init" 1
expectCount "$algorithm" lorb_init_algorithm 1
expectCount "$algorithm" lorb_load_algorithm_message 1
expectCount "$algorithm" do_convert $((withVtk ? 132 : 0))
expectCount "$algorithm" toTypeID $((withVtk ? 1 : 0))
expectCount "$algorithm" toImageDataset $((withVtk ? 2 : 0))
expectCount "$algorithm" toImageData $((withVtk ? 2 : 0))
expectCount "$dataset" dump 2
expectCount "$dataset" Dataset::getElement 11
expectCount "$dataset" Dataset::setElement 11
expectCount "$core" LORBBase::unrefer 1
expectCount "$core" LORBBase::isRefered 1

# One virtual table a class, in the library that the class belongs to.
for table in "$dataset:DatasetCoordinates" "$dataset:WorldCoordinates" "$dataset:ImageDataset" \
  "$core:SharedObject"; do
  library=${table%%:*} name=${table##*:}
  expect "virtual tables of $name in $(basename "$library")" \
    "$(nm -DC --defined-only "$library" | grep -cE " [VD] vtable for lorb::$name$" || true)" 1
done

for library in "$core" "$dataset" "$algorithm"; do
  name=$(basename "$library")
  expect "soname of $name" \
    "$(readelf -d "$library" | sed -nE 's/.*\(SONAME\).*\[(.*)\]/\1/p')" "${name%%.so*}.so.$version"
  # Bound to themselves, the libraries would ignore a host that puts its own functions in front.
  expect "symbolic binding of $name" "$(readelf -d "$library" | grep -E 'SYMBOLIC' || true)" ""
  expect "symbols of $name outside lorb" \
    "$(nm -D --defined-only "$library" | awk '{print $NF}' | grep -vE '^_Z(NK?|T[VTSI]N)4lorb' || true)" ""
done

exit $((failures > 0))
