# Shared by the project's scripts: installs what is missing and builds a preset. Sourced; expects to be told the
# project's folder in $root. Everything it says goes to standard error.

# Packages that building and running need, and what is needed besides: by tests, by benchmarks, by lint, to make
# packages, and by tests in a browser and in shells.
build_packages=(g++ cmake make ninja-build pkg-config libsimdjson-dev libcli11-dev zlib1g-dev libzstd-dev
  libibnetdisc-dev libibmad-dev libibumad-dev)
test_packages=(libgtest-dev libgmock-dev python3 python3-jsonschema clang ibsim-utils opensm infiniband-diags valgrind)
bench_packages=(libbenchmark-dev nlohmann-json3-dev)
lint_packages=("${bench_packages[@]}" clang clang-format clang-tidy)
packaging_packages=(debootstrap dpkg-dev fakeroot file lintian patchelf)
browser_packages=(chromium chromium-driver python3-selenium)
shell_packages=(fish mandoc zsh)

# Processor time that the program takes to build, in seconds; its tests take as much again.
build_seconds=130

# Tests and examples run Python, which leaves its compiled modules beside the sources.
export PYTHONDONTWRITEBYTECODE=1

# Installs the named packages that are not there yet, on Debian and Ubuntu. Asks nobody.
install_missing() {
  local missing=() package
  command -v dpkg-query >/dev/null || return 0 # elsewhere CMake says what it does not find
  for package in "$@"; do
    [[ $(dpkg-query -W -f '${Status}' "$package" 2>/dev/null) == *' installed' ]] || missing+=("$package")
  done
  ((${#missing[@]})) || return 0
  local as_root=(env DEBIAN_FRONTEND=noninteractive)
  if ((EUID != 0)); then
    if ! sudo -n true 2>/dev/null; then
      echo "siminfo: error: packages are missing that only root can install; run this and try again:" >&2
      echo "  sudo apt-get install -y --no-install-recommends ${missing[*]}" >&2
      return 3
    fi
    as_root=(sudo -n "${as_root[@]}")
  fi
  echo "siminfo: installing with apt-get: ${missing[*]}" >&2
  "${as_root[@]}" apt-get update -q >&2 &&
    "${as_root[@]}" apt-get install -q -y --no-install-recommends "${missing[@]}" >&2 || return 3
}

# Whether the preset's program was built from the sources as they are. Everything that such a build reads counts,
# folders too, since they change when a file in them goes.
is_current() {
  local stamp=$root/build/$1/siminfo.built
  [[ -x $root/build/$1/siminfo && -e $stamp ]] &&
    [[ -z $(find "$root"/{src,cmake,CMakeLists.txt,CMakePresets.json} -newer "$stamp" -print -quit) ]]
}

# Runs a step of a preset's build and shows how it gets on: on a terminal as the step itself does, elsewhere with a
# line a minute and, if it fails, with all that it said.
build_step() {
  local log=$root/build/$1/build.log minutes=0 status=
  if [[ -t 2 ]]; then
    "${@:2}" >&2 || return 3
    return
  fi
  exec {result}< <("${@:2}" >"$log" 2>&1; echo $?)
  until read -r -t 60 -u "$result" status || [[ -n $status ]]; do
    echo "siminfo: still building after $((++minutes)) min: $(sed -n '$s/^\(\[[0-9/]*\]\).*/\1 files/p' "$log")" >&2
  done
  exec {result}<&-
  [[ $status == 0 ]] || { cat "$log" >&2; return 3; }
}

configure_preset() { build_step "$1" cmake --preset "$1"; }

# Says what is going to happen, and how long it will take.
announce_build() {
  local folder=$root/build/$1 seconds=$build_seconds cores minutes
  [[ $2 == siminfo ]] || seconds=$((2 * build_seconds))
  cores=$(nproc)
  minutes=$(((seconds + 60 * cores - 1) / (60 * cores)))
  if [[ ! -e $folder/build.ninja ]]; then
    echo "siminfo: building, this happens once and takes about $minutes min on $cores processors" >&2
  elif [[ $2 == siminfo ]]; then
    echo "siminfo: sources have changed since the last build: building what changed" >&2
  fi
}

# Builds a preset: the program, or "all" with the tests. It is configured anew each time, since what was missing then
# may be there now; the rules of a folder that was elsewhere before are of no use.
build_preset() {
  local preset=$1 target=$2 folder=$root/build/$1
  if [[ $root == *[\"\\\;\#\<\>\[\]]* ]]; then
    echo "siminfo: error: CMake cannot build in a folder with any of \" \\ ; # < > [ ] in its path; move or rename $root" >&2
    return 3
  fi
  mkdir -p "$folder" 2>/dev/null && [[ -w $folder ]] || {
    echo "siminfo: error: $folder has to be built, but you cannot write to it; build it as a user who can, or copy $root" >&2
    return 3
  }
  (
    flock -n 9 || { echo "siminfo: waiting for another build to finish" >&2 && flock 9; }
    [[ $target == siminfo ]] && is_current "$preset" && exit
    cd "$root" || exit 3
    grep -qsxF "CMAKE_HOME_DIRECTORY:INTERNAL=$root" "$folder/CMakeCache.txt" ||
      rm -rf "$folder/CMakeCache.txt" "$folder/CMakeFiles" "$folder/build.ninja"
    announce_build "$preset" "$target"
    touch "$folder/siminfo.begun" || exit 3
    configure_preset "$preset" && build_step "$preset" cmake --build --preset "$preset" --target "$target" || exit 3
    mv -f "$folder/siminfo.begun" "$folder/siminfo.built"
  ) 9>"$folder/.lock"
}

# Asked for help or the version before there is a program, answers from what the project says of itself; returns when
# asked for anything else.
answer_unbuilt() {
  local word
  for word in "${@:---help}"; do
    case $word in
      --) return ;;
      -V | --version)
        sed -n 's/^project(siminfo VERSION \([0-9.]*\).*/siminfo \1/p' "$root/CMakeLists.txt"
        exit
        ;;
      -h | --help | help)
        echo "usage: siminfo COMMAND [ARGUMENT]..., where COMMAND is one of"
        sed -n 's/^| `\([a-z]*\)` | \([^[|]*[^[|: ]\).*/  \1\t\2/p' "$root/README.md" | expand -t 13
        echo "siminfo: not built yet; the first command installs what is missing of these packages, and builds:" >&2
        echo "  ${build_packages[*]}" >&2
        exit
        ;;
    esac
  done
}
