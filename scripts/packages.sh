# Sourced by the scripts beside it: installs Debian packages that are missing.

build_packages=(g++ cmake ninja-build)
header_packages=(libcli11-dev libeigen3-dev libxxhash-dev nlohmann-json3-dev) # with any compiler
tool_packages=("${header_packages[@]}" libhdf5-dev zlib1g-dev)
python_packages=(python3 python3-dev python3-numpy pybind11-dev)

# Names the packages of its arguments that are not installed.
missing_packages() {
  local package
  for package in "$@"; do
    dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' ||
      printf '%s\n' "$package"
  done
}

# Makes sure that the packages of its arguments are there, with sudo when not root.
need_packages() {
  local missing as_root=()
  mapfile -t missing < <(missing_packages "$@")
  [ ${#missing[@]} -eq 0 ] && return
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || {
      echo "These Debian packages are missing: ${missing[*]}. Install them as root." >&2
      exit 1
    }
    as_root=(sudo)
  fi
  echo "Installing Debian packages: ${missing[*]}" >&2
  "${as_root[@]}" apt-get update -qq
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends -o DPkg::Lock::Timeout=600 "${missing[@]}" >/dev/null
}

# Configures and builds a preset; further arguments go to the configuration.
build_preset() {
  local preset=$1
  shift
  cmake --preset "$preset" "$@" >/dev/null
  cmake --build --preset "$preset"
}

# Configures a preset with the tool and the tests, but builds only the targets that follow.
build_targets() {
  local preset=$1
  shift
  cmake --preset "$preset" -DFIELDSTORE_BUILD_TOOL=ON -DFIELDSTORE_BUILD_TESTS=ON >/dev/null
  echo "Building $* (preset $preset)" >&2
  cmake --build --preset "$preset" --target "$@" >/dev/null
}

# The same for the hosts of the campaigns.
build_campaigns() {
  local preset=$1
  shift
  cmake --preset "$preset" -DFIELDSTORE_BUILD_CAMPAIGNS=ON "$@" >/dev/null
  cmake --build --preset "$preset" --target campaigns >/dev/null
}
