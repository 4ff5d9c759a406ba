# Sourced by ./check and by the tools beside this file, in the project's root.
source cmake/install_packages.sh

native_packages=(cmake ninja-build g++ googletest libspdlog-dev libfmt-dev libutfcpp-dev libmd-dev
                 libavformat-dev libavcodec-dev libavutil-dev libbson-dev pkg-config abigail-tools
                 python3 valgrind)

logs=$PWD/build/logs
mkdir -p "$logs"
configure_options=()
if command -v ccache >/dev/null; then
  configure_options+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
# The sanitizers' shadow memory does not get along with the strongest address randomisation.
fixed_addresses=()
if setarch "$(uname -m)" -R true 2>/dev/null; then fixed_addresses=(setarch "$(uname -m)" -R); fi

# Configures a preset and builds these targets of it, or everything; shows the errors when that
# fails.
build() {  # NAME PRESET [TARGET...]
  local name=$1 preset=$2 targets=()
  shift 2
  if [ $# -gt 0 ]; then targets=(--target "$@"); fi
  if { cmake --preset "$preset" "${configure_options[@]}" &&
       cmake --build --preset "$preset" -j "$(nproc)" "${targets[@]}"; } >"$logs/$name-build.log" 2>&1
  then
    return 0
  fi
  grep -E -A 12 'error:|FAILED:|CMake Error' "$logs/$name-build.log" | head -n 60
  echo "The whole log: $logs/$name-build.log"
  return 1
}
