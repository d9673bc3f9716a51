# The standard library of LLVM, with clang.
platform_libcxx() {
  need_packages "${build_packages[@]}" "${header_packages[@]}" clang libc++-dev libc++abi-dev python3
  local options=(-DCMAKE_CXX_COMPILER=clang++ -DCMAKE_CXX_FLAGS=-stdlib=libc++)
  build_googletest "${options[@]}"
  build_platform "clang $(clang++ -dumpversion), no warnings" "${options[@]}"
  # The test asks the extractors of the standard library, and libc++'s take other texts for numbers.
  run_unit_tests TextPrimitives.AreReadAsTheExtractorsDo
  [ -n "$short" ] || run_tool_tests
  read_across
  share_a_lock
}
