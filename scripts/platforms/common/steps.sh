# Sourced by scripts/check-platforms: the table of results, and steps that platforms share.
#
# scripts/platforms/NAME.sh defines platform_NAME. It runs from the root of the sources, in a shell of
# its own that ends at the first command that fails, and finds $platform, its name, and $short, which is
# empty or "yes". It builds in $(build_directory) and tells the table what came of it:
#
#   report COLUMN TEXT...    COLUMN is one of $columns

columns=(builds unit tool files locks)

known_platforms() { (cd scripts/platforms && printf '%s\n' *.sh) | sed 's/\.sh$//'; }
build_directory() { echo "$PWD/build/platforms/$platform"; }

report() { printf '%s\n' "${*:2}" >"$results/$platform.$1"; }

print_results() {
  local row='%-9s  %-22s  %-24s  %-24s  %-22s  %-18s  %s\n' name column cells
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
