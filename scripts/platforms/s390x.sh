# A big-endian host: the compiler says why it is none for us. Nothing is linked or run.
platform_s390x() {
  need_packages g++-s390x-linux-gnu
  local said
  said=$(s390x-linux-gnu-g++ -std=c++17 -fsyntax-only -I. -Iinclude core/POBase.cpp 2>&1) && {
    echo "The sources compile for a big-endian host, whose files nobody else could read." >&2
    return 1
  }
  grep 'error: #error' <<<"$said" | head -n 1
  grep -q 'fieldstore files are little-endian; this host is not' <<<"$said"
  report builds "refused, as it must be"
}
