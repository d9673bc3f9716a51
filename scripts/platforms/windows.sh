# Windows on x86-64, built with mingw-w64, under Wine.
platform_windows() {
  local toolchain=$PWD/cmake/toolchains/windows.cmake tool=ON directory wine
  local ending=.exe differs=--strip-trailing-cr # text has the line ends of the system
  directory=$(build_directory)
  wine=(env WINEDEBUG=-all WINEPREFIX="$directory/wine" WINEPATH="Z:$directory" wine)
  need_packages "${build_packages[@]}" "${header_packages[@]}" g++-mingw-w64-x86-64-posix wine wine64 \
    python3 python3-xxhash unzip clang
  build_googletest --toolchain "$toolchain"
  copy_headers "$directory/headers"
  [ -z "$short" ] || tool=OFF
  cmake --no-warn-unused-cli -B "$directory" -G Ninja --toolchain "$toolchain" \
    -DCMAKE_BUILD_TYPE=Release -DFIELDSTORE_WERROR=ON -DFIELDSTORE_BUILD_TESTS=ON \
    -DFIELDSTORE_BUILD_TOOL=$tool -DCMAKE_PREFIX_PATH="$directory/headers" \
    -DGTest_ROOT="$directory/googletest/installed" \
    -DCMAKE_DISABLE_FIND_PACKAGE_HDF5=ON >/dev/null # there is none for the target
  ninja -C "$directory" --quiet -j2
  parse_as_visual_cpp
  report builds "g++ $(x86_64-w64-mingw32-g++-posix -dumpversion), no warnings"
  # So that no test has to wait: servers that end a minute after the last of them, and the first start.
  mkdir -p "$directory/wine"
  WINEPREFIX="$directory/wine" wineserver --persistent=60 || [ $? -eq 2 ] # which runs already
  "${wine[@]}" wineboot --init >/dev/null 2>&1
  # These wait in many thousand steps, each of which takes long under Wine.
  [ -z "$short" ] || export GTEST_FILTER=-Lock.OfAnother*:LastError.*:FileLock.IsAnEmpty*:FileLock.IsTakenWhat*
  run_unit_tests
  unset GTEST_FILTER
  report unit "$("${wine[@]}" "$directory/tests/fieldstore_tests.exe" --gtest_list_tests | grep -c '^  ')\
 in one program, $(cat "$results/$platform.unit")"
  [ -n "$short" ] || run_tool_tests
  read_across "${wine[@]}"
  share_a_lock_with_windows "${wine[@]}"
  [ -n "$short" ] || try_zip "${wine[@]}"
}

# Visual C++ cannot be had here, but clang refuses what it refuses: the sources of the library, the public
# headers and the hosts of the quickstart, with the headers at hand, which ask for what GNU compilers define.
parse_as_visual_cpp() {
  local compiler=(clang++ --target=x86_64-w64-mingw32 -std=c++17) directory headers source
  directory=$(build_directory)
  headers=$(dirname "$(x86_64-w64-mingw32-g++-posix -print-libgcc-file-name)")/include/c++
  "${compiler[@]}" -dM -E -x c++ /dev/null | grep -E ' __(GCC|GNUC|STRICT_ANSI)' >"$directory/macros.h"
  for source in {core,factory,objects,streams,examples/quickstart}/*.cpp; do
    [[ $source == *_posix.cpp ]] ||
      "${compiler[@]}" -fsyntax-only -fms-compatibility -fms-compatibility-version=19.30 -U_MSC_VER \
        -imacros "$directory/macros.h" -nostdinc++ -isystem "$headers" \
        -isystem "$headers/x86_64-w64-mingw32" -Iinclude -I. \
        -Wall -Wextra -Wpedantic -Wmicrosoft -Werror "$source"
  done
}

# The headers of packages that consist of them, below a prefix of their own: nothing else of this
# machine must be found.
copy_headers() {
  mkdir -p "$1"
  dpkg -L "${header_packages[@]}" |
    grep -E '^/usr/(include|lib/cmake|share/(cmake|eigen3|nlohmann_json))/' |
    while read -r file; do [ -d "$file" ] || echo "${file#/usr/}"; done |
    tar -C /usr -cf - -T - | tar -C "$1" -xf -
}

# Two writers of Windows and two of this machine append to one file under its lock.
share_a_lock_with_windows() {
  local own=build/release/reliability/campaigns/crowd_host
  local theirs directory key each=25 writers=() process file kept
  theirs=$(build_directory)/tests/writer_host.exe
  build_own crowd_host
  directory=$(build_directory)/lock
  rm -rf "$directory"
  mkdir "$directory"
  file=$directory/modeinfo.dat
  for key in 0 2; do
    "$own" write POModeInfo text "$file" 4000 $key $each 4 "$directory/acknowledged" >/dev/null &
    writers+=($!)
    "$@" "$theirs" write "$file" $((key + 1)) $each 4 &
    writers+=($!)
  done
  for process in "${writers[@]}"; do wait "$process"; done
  for kept in "$("$own" keys POModeInfo text "$file")" "$("$@" "$theirs" keys "$file" | tr -d '\r')"; do
    [ "$kept" = "0 $(seq -s ' ' 0 $((4 * each - 1)))" ] || {
      echo "Bodies are missing after $((4 * each)) commits of four processes: $kept" >&2
      return 1
    }
  done
  report locks "$((4 * each)) commits kept"
}

# The zip: unpacked, it has what a host needs to be built and to run.
try_zip() {
  local directory place
  directory=$(build_directory)
  place=$directory/unpacked
  (cd "$directory" && cpack >/dev/null)
  rm -rf "$place"
  unzip -q "$directory"/fieldstore-*-windows-x86_64.zip -d "$place"
  cmake -S "$(echo "$place"/*/share/doc/fieldstore/examples/quickstart)" -B "$place/host" -G Ninja \
    --toolchain "$PWD/cmake/toolchains/windows.cmake" -DCMAKE_PREFIX_PATH="$(echo "$place"/fieldstore-*)" \
    >/dev/null
  ninja -C "$place/host" --quiet
  local start=(env WINEDEBUG=-all WINEPREFIX="$directory/wine" WINEPATH="Z:$(echo "$place"/fieldstore-*)/bin" wine)
  "${start[@]}" "$place/host/quickstart.exe" write "$place/wr90/" >/dev/null
  "${start[@]}" "$place/host/quickstart.exe" report "$place/wr90/" | grep 'agrees with the formulas' >/dev/null
  "${start[@]}" "$place/host/dlopen_host.exe" fieldstore.dll "$place/wr90/" | grep '8 frequencies, 2 ports' >/dev/null
  "${start[@]}" "$(echo "$place"/fieldstore-*/bin/fieldstore.exe)" check "$place/wr90/" >/dev/null
}
