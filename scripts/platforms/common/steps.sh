# Sourced by scripts/check-platforms: the table of results, and steps that platforms share.
#
# scripts/platforms/NAME.sh defines platform_NAME. It runs from the root of the sources, in a shell of
# its own that ends at the first command that fails, and finds $platform, its name, and $short, which is
# empty or "yes". It builds in $(build_directory), and puts into the table what came of it:
#
#   report COLUMN TEXT    COLUMN is one of $columns

columns=(builds unit tool files locks)

known_platforms() { (cd scripts/platforms && printf '%s\n' *.sh) | sed 's/\.sh$//'; }
build_directory() { echo "$PWD/build/platforms/${variant-$platform}"; }

report() { printf '%s\n' "$2" >"$results/$platform.$1"; }

print_results() {
  local row='%-8s  %-32s  %-26s  %-26s  %-18s  %-18s  %s\n' name column cells
  # shellcheck disable=SC2059 # the format of the table
  printf "\n$row" platform builds "unit tests" "tool tests" "files read across" "locks" time
  for name in "$@"; do
    cells=()
    for column in "${columns[@]}" time; do
      cells+=("$(cat "$results/$name.$column" 2>/dev/null || echo -)")
    done
    # shellcheck disable=SC2059
    printf "$row" "$name" "${cells[@]}"
  done
}

# GoogleTest for the platform, of which Debian has a package for this machine only.
build_googletest() {
  local directory
  need_packages googletest
  directory=$(build_directory)/googletest
  cmake -S /usr/src/googletest -B "$directory" -G Ninja -DCMAKE_BUILD_TYPE=Release -DBUILD_GMOCK=OFF \
    -DCMAKE_CXX_STANDARD=17 -DCMAKE_INSTALL_PREFIX="$directory/installed" "$@" >/dev/null
  ninja -C "$directory" -j2 install >/dev/null
}

# Configures with these options and builds: the library, its tests and hosts, and but in the short form
# the tool. What the table says of it is the first argument.
build_platform() {
  local said=$1 directory tool=ON
  shift
  directory=$(build_directory)
  [ -z "$short" ] || tool=OFF
  cmake --no-warn-unused-cli -B "$directory" -G Ninja -DCMAKE_BUILD_TYPE=Release -DFIELDSTORE_WERROR=ON \
    -DFIELDSTORE_INSTALL=OFF -DFIELDSTORE_BUILD_TESTS=ON -DFIELDSTORE_BUILD_CAMPAIGNS=ON \
    -DFIELDSTORE_BUILD_TOOL=$tool -DGTest_ROOT="$directory/googletest/installed" "$@" >/dev/null
  # The hosts of the other campaigns need this machine.
  local targets=(fieldstore fieldstore_tests fieldstore_classes write_samples quickstart dlopen_host crowd_host)
  [ -n "$short" ] || targets+=(fieldstore_tool fieldstore_tool_samples fieldstore_fuzz_seeds
    replay_{load,merge,block,tool,build,number})
  ninja -C "$directory" --quiet -j2 "${targets[@]}"
  report builds "$said"
}

# Runs the tests of the library, or of the tool, for a column; the arguments are names of tests that are
# left out.
run_unit_tests() { run_tests unit '' -E "$(any_of 'tool.*' "$@")" "$#"; }
run_tool_tests() { run_tests tool ' scripts' -R '^tool' -E "$(any_of none "$@")" "$#"; }
any_of() { local IFS='|'; printf '^(%s)$' "$*"; }
run_tests() {
  local column=$1 of=$2 log passed left
  local options=("${@:3:$#-3}")
  left=${*: -1}
  log=$(build_directory)/$column.log
  ctest --test-dir "$(build_directory)" -j2 --output-on-failure "${options[@]}" >"$log" 2>&1 || {
    grep -v -e ' Passed ' -e '^ *Start ' "$log"
    return 1
  }
  passed=$(grep -c ' Passed ' "$log")
  left=$((left + $(grep -c '\*\*\*Skipped' "$log" || true)))
  report "$column" "$passed$of passed, $left left out"
}

# The program of this machine that is named, built where all that is built with g++ lies.
build_own() {
  cmake --preset release -DFIELDSTORE_BUILD_TESTS=ON -DFIELDSTORE_BUILD_CAMPAIGNS=ON >/dev/null
  ninja -C build/release -j2 "$@" >/dev/null
}

# Files of all classes, in both modes: those of the platform have the bytes of this machine's, and both
# load with the same data. The arguments are what starts a program of the platform. A platform may set
# $ending, that of its programs' names, and $differs, how text is compared.
read_across() {
  local own=build/release/tests/format/write_samples theirs directory place files
  build_own write_samples
  directory=$(build_directory)/files
  rm -rf "$directory"
  mkdir -p "$directory/own" "$directory/theirs"
  $own "$directory/own"
  theirs=$(build_directory)/tests/format/write_samples${ending-}
  "$@" "$theirs" "$directory/theirs"
  diff -r ${differs-} "$directory/own" "$directory/theirs"
  $own "$directory/theirs" describe >"$directory/as-own"
  for place in own theirs; do
    "$@" "$theirs" "$directory/$place" describe >"$directory/as-theirs"
    diff ${differs-} "$directory/as-own" "$directory/as-theirs"
  done
  files=$(find "$directory/own" -type f | wc -l)
  report files "$files, same bytes"
}

# Two writers of the platform and two of this machine append to one file under its lock.
share_a_lock() {
  local own=build/release/reliability/campaigns/crowd_host
  local theirs directory key each=25 program writers=() process reader file kept
  theirs=$(build_directory)/reliability/campaigns/crowd_host
  build_own crowd_host
  directory=$(build_directory)/lock
  rm -rf "$directory"
  mkdir "$directory"
  file=$directory/modeinfo.dat
  for key in 0 1 2 3; do
    program=("$own")
    [ $((key % 2)) -eq 0 ] || program=("$@" "$theirs")
    "${program[@]}" write POModeInfo text "$file" 4000 $key $each 4 "$directory/acknowledged" >/dev/null &
    writers+=($!)
  done
  for process in "${writers[@]}"; do wait "$process"; done
  for reader in "$own" "$* $theirs"; do
    # shellcheck disable=SC2086 # an emulator and its options
    kept=$($reader keys POModeInfo text "$file")
    [ "$kept" = "0 $(seq -s ' ' 0 $((4 * each - 1)))" ] || {
      echo "Bodies are missing after $((4 * each)) commits of four processes: $kept" >&2
      return 1
    }
  done
  report locks "$((4 * each)) commits kept"
}

# A later C++ standard, with g++ and with clang: each has a build directory, and the table shows the
# figures of the second.
try_standard() {
  local standard=$1 compiler variant tried=
  need_packages "${build_packages[@]}" "${tool_packages[@]}" clang libgtest-dev python3
  for compiler in g++ clang++; do
    variant=$platform-$compiler
    tried+="$compiler $($compiler -dumpversion | cut -d. -f1), "
    build_platform "${tried}no warnings" -DCMAKE_CXX_STANDARD="$standard" -DCMAKE_CXX_COMPILER=$compiler
    run_unit_tests
    [ -n "$short" ] || run_tool_tests
    read_across
    share_a_lock
  done
}
