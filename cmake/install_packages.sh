# Sourced by the scripts at the root.
#
# install_packages NAME...: sees to it that these Debian packages are installed. Says nothing and
# touches nothing when they all are.
install_packages() {
  local name missing=() as_root=()
  if ! command -v dpkg-query >/dev/null; then
    echo "This is not a Debian system: the tools of these packages are taken as installed: $*"
    return 0
  fi
  for name in "$@"; do
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$name" 2>/dev/null)" = installed ] ||
      missing+=("$name")
  done
  [ ${#missing[@]} -gt 0 ] || return 0

  if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
      echo "Some packages are missing. Install them as root: apt-get install ${missing[*]}" >&2
      return 1
    fi
    as_root=(sudo)
  fi
  echo "Installing ${missing[*]}"
  local apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq)
  local log
  log=$(mktemp)
  # A list of some other source that cannot be fetched does not matter if the install works.
  "${apt[@]}" update >"$log" 2>&1
  if ! "${apt[@]}" install --yes --no-install-recommends "${missing[@]}" >>"$log" 2>&1 </dev/null
  then
    tail -n 20 "$log" >&2
    rm -f "$log"
    echo "The packages could not be installed." >&2
    return 1
  fi
  rm -f "$log"
}
