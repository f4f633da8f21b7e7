# Shared by the project's scripts: installs what is missing and builds a preset. Sourced; expects to be told the
# project's folder in $root. Everything it says goes to standard error.

# Packages that building and running need, and those that tests, benchmarks, lint and tests in a browser need besides.
build_packages=(g++ cmake make ninja-build pkg-config libsimdjson-dev libcli11-dev
  libibnetdisc-dev libibmad-dev libibumad-dev)
test_packages=(libgtest-dev libgmock-dev python3 python3-jsonschema clang ibsim-utils opensm infiniband-diags valgrind)
bench_packages=(libbenchmark-dev nlohmann-json3-dev)
lint_packages=("${bench_packages[@]}" clang clang-format clang-tidy)
browser_packages=(chromium chromium-driver python3-selenium)

# Installs the named packages that are not there yet, on Debian and Ubuntu.
install_missing() {
  local missing=() package
  command -v dpkg-query >/dev/null || return 0 # elsewhere CMake says what it does not find
  for package in "$@"; do
    [[ $(dpkg-query -W -f '${Status}' "$package" 2>/dev/null) == *' installed' ]] || missing+=("$package")
  done
  ((${#missing[@]})) || return 0
  local sudo=()
  if ((EUID != 0)); then
    if ! command -v sudo >/dev/null; then
      echo "siminfo: error: missing packages, and only root can install them: ${missing[*]}" >&2
      return 3
    fi
    sudo=(sudo)
  fi
  echo "siminfo: installing ${missing[*]}" >&2
  "${sudo[@]}" apt-get update -q >&2 || return 3
  "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "${missing[@]}" >&2 || return 3
}

# Runs a step of a preset's build, one at a time; what it says is shown only when it fails.
build_step() {
  local folder=$root/build/$1
  mkdir -p "$folder" || return 3
  (
    flock 9
    cd "$root" || exit 3
    "${@:2}" >"$folder/build.log" 2>&1 || { cat "$folder/build.log" >&2; exit 3; }
  ) 9>"$folder/.lock"
}

configure_preset() { build_step "$1" cmake --preset "$1"; }

# Configures and builds the preset. With "once" as a second word it is configured only if it never was; else anew:
# what was missing then may be there now.
build_preset() {
  local preset=$1 when=${2-anew} rules=$root/build/$1/build.ninja
  [[ -e $rules ]] || echo "siminfo: building, this happens once" >&2
  [[ -e $rules && $when == once ]] || configure_preset "$preset" || return 3
  build_step "$preset" cmake --build --preset "$preset"
}
