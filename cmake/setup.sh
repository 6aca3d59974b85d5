#!/usr/bin/env bash
# Installs the Debian packages of packages.txt that are missing: those for "build", and those of each group that is
# named as an argument. Does nothing, quickly, when all are there.
set -euo pipefail
list="$(dirname "$0")/packages.txt"

die() {
  echo "set-up: $*" >&2
  exit 1
}

mapfile -t wanted < <(for group in build "$@"; do awk -v group="$group" '$1 == group { print $2 }' "$list"; done)
command -v dpkg-query >/dev/null && command -v apt-get >/dev/null ||
  die "this is no Debian system; install what these packages hold: ${wanted[*]}"

# dpkg-query fails when it knows nothing of a package; then that package simply is not in its answer.
present=$(dpkg-query -W -f='${Package} ${db:Status-Status}\n' "${wanted[@]}" 2>/dev/null || true)
mapfile -t missing < <(for name in "${wanted[@]}"; do
  grep -qxF "$name installed" <<<"$present" || echo "$name"
done)
[[ ${#missing[@]} -gt 0 ]] || exit 0

apt=(env DEBIAN_FRONTEND=noninteractive apt-get -q -y -o DPkg::Lock::Timeout=300)
if [[ $(id -u) -ne 0 ]]; then
  command -v sudo >/dev/null ||
    die "installing packages takes root, and there is no sudo; as root, run: apt-get install ${missing[*]}"
  apt=(sudo "${apt[@]}")
fi

echo "set-up: installing Debian packages: ${missing[*]}"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
"${apt[@]}" update >"$log" 2>&1 </dev/null ||
  echo "set-up: the package lists could not be renewed; trying with those at hand" >&2
"${apt[@]}" install --no-install-recommends "${missing[@]}" >>"$log" 2>&1 </dev/null || {
  tail -n 20 "$log" >&2
  die "apt-get could not install: ${missing[*]}"
}
