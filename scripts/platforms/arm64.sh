# Linux on ARM64, under qemu-user.
platform_arm64() {
  local emulator=(qemu-aarch64 -L /usr/aarch64-linux-gnu)
  local toolchain=$PWD/cmake/toolchains/arm64.cmake
  need_packages "${build_packages[@]}" "${header_packages[@]}" g++-aarch64-linux-gnu qemu-user python3
  build_googletest --toolchain "$toolchain"
  build_platform "g++ $(aarch64-linux-gnu-g++ -dumpversion), no warnings" --toolchain "$toolchain" \
    -DCMAKE_DISABLE_FIND_PACKAGE_HDF5=ON # there is none for the target
  run_unit_tests
  # An extension is told the path of the program, which this machine does not start by itself.
  [ -n "$short" ] || run_tool_tests tool.hdf5 tool.extensions
  read_across "${emulator[@]}"
  share_a_lock "${emulator[@]}"
}
