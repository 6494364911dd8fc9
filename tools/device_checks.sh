#!/usr/bin/env bash
# All that is to be done where there is a CUDA device, in one go: the tests of the label gpu, the same under
# compute-sanitizer where it is installed, and the tables for docs/performance.md.
#
#   tools/device_checks.sh [-o FOLDER] [-s STEPS] [BUILD]   BUILD: build/release unless given; it is built first
#   tools/device_checks.sh --pack FILE.tar.xz [BUILD]       what a machine needs that has neither compiler nor libraries
#
# Unpacked there, `device_checks.sh` in that folder does the same. STEPS: some of tests,memcheck,initcheck,racecheck,bench,
# separated by commas. Logs, a summary and performance.md are left in FOLDER (device-checks unless given). A step that
# takes longer than $LIMIT seconds (900) is a finding. Exit code 1 where anything is found.
set -uo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
out=device-checks steps=tests,memcheck,initcheck,racecheck,bench pack='' build=''
while [ $# -gt 0 ]; do
  case $1 in
    -o) out=$2; shift 2 ;;
    -s) steps=$2; shift 2 ;;
    --pack) pack=$(realpath -m "$2"); shift 2 ;;
    -*) sed -n '2,12s/^# \{0,1\}//p' "${BASH_SOURCE[0]}" >&2; exit 2 ;;
    *) build=$1; shift ;;
  esac
done

# The programs: beside this script where it has been taken along with them.
if [ -x "$here/gpulib_device_test" ]; then
  programs=$here
else
  build=$(realpath -m "${build:-$here/../build/release}")
  programs=$build/device
  if command -v cmake >/dev/null; then
    [ -f "$build/CMakeCache.txt" ] && grep -q '^QUILLON_TESTS:BOOL=ON' "$build/CMakeCache.txt" ||
      cmake -S "$here/.." -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DQUILLON_TESTS=ON >&2 || exit 1
    cmake --build "$build" --target device_programs >&2 || exit 1
  fi
fi
[ -x "$programs/gpulib_device_test" ] || { echo "there are no programs in $programs" >&2; exit 2; }

if [ -n "$pack" ]; then
  name=quillon-device
  folder=$(mktemp -d)
  trap 'rm -rf "$folder"' EXIT
  mkdir "$folder/$name"
  cp -rL "$programs/." "$folder/$name" && cp "${BASH_SOURCE[0]}" "$folder/$name" || exit 1
  rm -f "$folder/$name"/Quillon.ofx.bundle/Contents/Resources/*.pdf
  strip "$folder/$name"/*_test "$folder/$name"/quillon_device_bench "$folder/$name"/Quillon.ofx.bundle/Contents/*/*.ofx
  tar -C "$folder" -caf "$pack" "$name" || exit 1
  ls -l "$pack"
  exit 0
fi

mkdir -p "$out" && out=$(realpath "$out") || exit 2
summary=$out/summary.txt
: >"$summary"
say() { echo "$*" | tee -a "$summary"; }

jobs=$(nproc 2>/dev/null || echo 2)
[ "$jobs" -le 8 ] || jobs=8

wants() { case ",$steps," in *",$1,"*) true ;; *) false ;; esac; }

# run NAME COMMAND...: one run with its log.
run() {
  local name=$1 log=$out/${1//\//-}.log start=$SECONDS code said
  shift
  timeout "${LIMIT:-900}" "$@" >"$log" 2>&1
  code=$?
  said=$(grep -hoE '\[  (PASSED|FAILED|SKIPPED) +\] [0-9]+ tests?|[0-9]+% tests passed.*|(ERROR|RACECHECK) SUMMARY: .*' "$log" |
    sed 's/  */ /g' | paste -sd ';' | sed 's/;/; /g')
  [ $code -eq 124 ] && said="took too long; $said"
  said="$name ($((SECONDS - start)) s): $said"
  if [ "$name" != "${name#*check/}" ] && grep -qE '\[  SKIPPED |Device not supported' "$log"; then
    say "left out  $said: the sanitizer does not go with this device, see $log"
  elif [ $code -ne 0 ]; then
    say "FOUND     $said (exit code $code, see $log)"
  else
    say "passed    $said"
  fi
}

if ! "$programs/quillon_device_bench" --tell >"$out/device.txt" 2>&1; then
  say "no device, so that nothing is checked: $(cat "$out/device.txt")"
  exit 0
fi
say "$(cat "$out/device.txt")"
command -v nvidia-smi >/dev/null && nvidia-smi >"$out/nvidia-smi.txt" 2>&1

# CUFFT does not come with the driver. Python's packages may have brought one.
if ! ldconfig -p 2>/dev/null | grep -q 'libcufft\.so'; then
  mapfile -t folders < <(ls -d /usr/local/cuda*/lib64 2>/dev/null
    python3 -c 'import os, sys; print(*[p + "/nvidia" for p in sys.path if os.path.isdir(p + "/nvidia")], sep="\n")')
  cufft=$([ -z "${folders[*]}" ] || find "${folders[@]}" -name 'libcufft.so.*' 2>/dev/null | head -1)
  [ -z "$cufft" ] || export LD_LIBRARY_PATH="${cufft%/*}${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"
  say "CUFFT: ${cufft:-not found, so that nothing that convolves is checked}"
fi

# ---- Tests ----------------------------------------------------------------------------------------------------------

if wants tests; then
  if [ -n "$build" ] && command -v ctest >/dev/null; then
    run ctest ctest --test-dir "$build" -L gpu -j "$jobs" --output-on-failure
  else
    for test in "$programs"/*_test; do
      case $test in */gpu_effects_device_test) ;; *) run "$(basename "$test")" "$test" ;; esac
    done
    for ((part = 0; part < jobs; part++)); do
      GTEST_TOTAL_SHARDS=$jobs GTEST_SHARD_INDEX=$part run "gpu_effects_device_test-$part" \
        "$programs/gpu_effects_device_test" &
    done
    wait
  fi
fi

# ---- compute-sanitizer ----------------------------------------------------------------------------------------------
#
# Calls that are refused are left out: some tests ask for them.

sanitizer=$(command -v compute-sanitizer ||
  find /usr/local/cuda* /opt/nvidia -maxdepth 3 -name compute-sanitizer -type f -perm -u+x 2>/dev/null | head -1)
sanitize() { # TOOL PROGRAM FILTER
  run "$1/$2" "$sanitizer" --tool "$1" --report-api-errors no --error-exitcode 9 "$programs/$2" "--gtest_filter=$3"
}
for tool in memcheck initcheck racecheck; do
  wants $tool || continue
  if [ -z "$sanitizer" ]; then
    say "left out  $tool: there is no compute-sanitizer"
    continue
  fi
  scenes='*.MakesTheProcessorsPicture/'
  if [ $tool = racecheck ]; then  # of memory that threads of a block share, which kernels hardly use
    sanitize $tool gpu_effects_device_test "${scenes}Darken:${scenes}Facet:${scenes}SpinBlur"
    continue
  fi
  for test in "$programs"/*_test; do
    case $test in
      */gpu_check_device_test) ;;  # hundreds of processes
      */gpu_effects_device_test) sanitize $tool gpu_effects_device_test "$scenes*" ;;
      *) sanitize $tool "$(basename "$test")" '*' ;;
    esac
  done
done

# ---- Times ----------------------------------------------------------------------------------------------------------

if wants bench; then
  run bench "$programs/quillon_device_bench"
  mv "$out/bench.log" "$out/performance.md"
fi

findings=$(grep -c '^FOUND' "$summary")
say "findings: $findings; logs and performance.md are in $out"
[ "$findings" -eq 0 ]
