#!/usr/bin/env bash
# Every build of Pathlark in one script, for bash alone: a bare Debian 12 has no make.
#   bash build.sh run [ARGS...]      install what is missing, build the program, its help and icons,
#                                    open the window (ARGS go to the program)
#   bash build.sh test               both test builds, each with -Werror, and every test through CTest:
#                                    build/ (optimised) and build-asan/ (AddressSanitizer + UBSan);
#                                    then each libFuzzer target in build-fuzz/ (clang) for 30 s
#   bash build.sh fuzz [SECONDS]     each libFuzzer target for SECONDS (default 600), one after
#                                    another; failing inputs kept in build-fuzz/fuzz-out/crashes/
#   bash build.sh build              the optimised test build in build/, no tests run
#   bash build.sh bench              the benchmarks under bench/ on build/
#   bash build.sh package            pathlark_VERSION_ARCH.deb in this folder
#   bash build.sh install [PREFIX]   build and install (default prefix /usr/local)
#   bash build.sh help-chm           recompile the committed help/Pathlark.chm after the pages changed
#   bash build.sh clean              remove every build folder
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"

jobs=$(nproc)

setup() { bash scripts/setup.sh "$1"; }
configure() { local dir=$1; shift; cmake -S . -B "$dir" -G Ninja "$@"; }

# A user's build: optimised, no tests, and no -Werror, so a newer compiler's new warning
# does not stop it.
configure_run() {
  configure build-run -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF -DPATHLARK_WERROR=OFF
}

# A developer's build: tests included, warnings are errors.
build_for_tests() {
  local dir=$1; shift
  configure "$dir" -DBUILD_TESTING=ON -DPATHLARK_WERROR=ON "$@"
  cmake --build "$dir" -j "$jobs"
}
build_release() { build_for_tests build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPATHLARK_SANITIZE=OFF; }
build_asan() { build_for_tests build-asan -DCMAKE_BUILD_TYPE=Debug -DPATHLARK_SANITIZE=ON; }
# Only the fuzz targets and the libraries they link, with clang's libFuzzer.
build_fuzz() {
  CXX=clang++ configure build-fuzz -DPATHLARK_FUZZ=ON -DPATHLARK_WERROR=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo
  cmake --build build-fuzz -j "$jobs"
}

cmd_run() {
  setup run
  configure_run
  cmake --build build-run -j "$jobs" --target pathlark help_files icons
  exec build-run/bin/pathlark "$@"
}

cmd_test() {
  setup test
  local failed=()
  build_release
  ctest --test-dir build --output-on-failure -j 2 --timeout 600 || failed+=("build/ (optimised)")
  build_asan
  ctest --test-dir build-asan --output-on-failure -j 2 --timeout 900 || failed+=("build-asan/ (ASan + UBSan)")
  build_fuzz
  ctest --test-dir build-fuzz --output-on-failure -j 2 || failed+=("build-fuzz/ (libFuzzer)")
  if [ ${#failed[@]} -gt 0 ]; then
    printf 'Tests failed in: %s\n' "${failed[@]}" >&2
    exit 1
  fi
  echo "All tests passed in build/, build-asan/ and build-fuzz/."
}

cmd_fuzz() {
  local seconds=${1:-600} target failed=0
  setup test
  build_fuzz
  for target in build-fuzz/fuzz/*; do
    bash tests/fuzz/run_fuzz.sh "$target" "tests/fuzz/corpus/${target##*/}" "$seconds" build-fuzz/fuzz-out \
      || failed=1
  done
  return $failed
}

cmd_package() {
  setup package
  # Debian's hardening flags, as its own package tools would pass them; the build folder is
  # left out of the flags so that a path with blanks stays one word.
  local cxxflags ldflags
  export DEB_BUILD_MAINT_OPTIONS="hardening=+all reproducible=-fixfilepath,-fixdebugpath"
  export DEB_CXXFLAGS_MAINT_STRIP="-g -O2"
  cxxflags="$(dpkg-buildflags --get CPPFLAGS) $(dpkg-buildflags --get CXXFLAGS)"
  ldflags=$(dpkg-buildflags --get LDFLAGS)
  configure build-pkg -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF -DPATHLARK_WERROR=OFF \
    -DCMAKE_CXX_FLAGS="$cxxflags" -DCMAKE_EXE_LINKER_FLAGS="$ldflags"
  cmake --build build-pkg -j "$jobs"
  rm -f build-pkg/pathlark_*.deb
  (cd build-pkg && cpack -G DEB)
  local deb
  for deb in build-pkg/pathlark_*.deb; do
    cp "$deb" .
    echo "Built ${deb##*/}; install it with: apt install ./${deb##*/}"
  done
}

cmd_install() {
  local prefix=${1:-/usr/local}
  setup run
  configure_run
  cmake --build build-run -j "$jobs"
  # sudo only where the prefix (or its nearest existing parent) is not ours to write.
  local existing=$prefix
  while [ ! -e "$existing" ]; do existing=$(dirname "$existing"); done
  if [ "$(id -u)" -eq 0 ] || [ -w "$existing" ] || ! command -v sudo >/dev/null; then
    cmake --install build-run --prefix "$prefix"
  else
    sudo cmake --install build-run --prefix "$prefix"
  fi
}

cmd_help_chm() {
  setup help
  configure_run
  grep -q '^PATHLARK_CHMCMD:FILEPATH=.*chmcmd$' build-run/CMakeCache.txt \
    || { echo "chmcmd (package fp-utils-3.2.2) not found" >&2; exit 1; }
  cmake --build build-run --target help_files
  cp build-run/bin/Pathlark.chm help/Pathlark.chm
  echo "help/Pathlark.chm recompiled from the pages in help/"
}

command=${1:-}
[ $# -gt 0 ] && shift
case $command in
  run)      cmd_run "$@" ;;
  test)     cmd_test ;;
  build)    setup test; build_release ;;
  fuzz)     cmd_fuzz "$@" ;;
  bench)    setup test; build_release; bash bench/run_all.sh build ;;
  package)  cmd_package ;;
  install)  cmd_install "$@" ;;
  help-chm) cmd_help_chm ;;
  clean)    rm -rf build build-asan build-fuzz build-run build-pkg ;;
  *)
    sed -n '2,16s/^# \{0,1\}//p' "${BASH_SOURCE[0]}" >&2
    exit 2 ;;
esac
