# Linux on x86 with addresses of 32 bits; an x86-64 kernel runs it as it is.
platform_i686() {
  local toolchain=$PWD/cmake/toolchains/i686.cmake
  need_packages "${build_packages[@]}" "${header_packages[@]}" g++-i686-linux-gnu python3
  build_googletest --toolchain "$toolchain"
  build_platform "g++ $(i686-linux-gnu-g++ -dumpversion), no warnings" --toolchain "$toolchain" \
    -DCMAKE_DISABLE_FIND_PACKAGE_HDF5=ON # there is none for the target
  run_unit_tests
  [ -n "$short" ] || run_tool_tests tool.hdf5
  read_across
  share_a_lock
}
