# Linux on ARM64, under qemu-user.
platform_arm64() {
  local emulator=(qemu-aarch64 -L /usr/aarch64-linux-gnu)
  local toolchain=$PWD/cmake/toolchains/arm64.cmake
  need_packages "${build_packages[@]}" "${header_packages[@]}" g++-aarch64-linux-gnu qemu-user python3
  build_googletest --toolchain "$toolchain"
  build_platform "g++ $(aarch64-linux-gnu-g++ -dumpversion), no warnings" --toolchain "$toolchain" \
    -DCMAKE_DISABLE_FIND_PACKAGE_HDF5=ON # there is none for the target
  run_unit_tests
  [ -n "$short" ] || run_tool_tests tool.hdf5
  read_across "${emulator[@]}"
  share_a_lock "${emulator[@]}"
}
