#!/usr/bin/env bash
# Makes the Debian packages of a build tree, asks lintian, installs them into an empty root, and uses what is there.
# usage: run.sh BUILD SOURCE
set -euo pipefail
build=$1 source=$2
folder=$build/package_test
root=$folder/root
rm -rf "$folder"
mkdir -p "$root/var/lib/dpkg/"{info,updates,triggers} "$folder/work"
touch "$root/var/lib/dpkg/status"

fail() {
  echo "packages: $*" >&2
  exit 1
}

cmake --build "$build" --target package_files python >"$folder/log" 2>&1 || { cat "$folder/log" >&2; fail "the files are not made"; }
(cd "$build" && cpack -G DEB -B "$folder" >"$folder/log" 2>&1) || { cat "$folder/log" >&2; fail "cpack fails"; }
if grep -q '^QFCORE_MAINTAINER.*\.invalid>' "$build/CMakeCache.txt"; then
  grep -q "name a placeholder as their maintainer" "$folder/log" || fail "nobody is told that the maintainer is a placeholder"
fi
packages=("$folder"/*.deb)
[[ ${#packages[@]} -eq 5 ]] || fail "there are ${#packages[@]} packages"
lintian --allow-root --fail-on error "${packages[@]}" || fail "lintian found errors"

# What packages need of the system is there already, though the empty root does not know. Only root may own files for root.
if [[ $(id -u) -eq 0 ]]; then
  dpkg --root="$root" --force-depends --install "${packages[@]}" >"$folder/log" 2>&1 || { cat "$folder/log" >&2; fail "dpkg fails"; }
else
  for package in "${packages[@]}"; do dpkg-deb -x "$package" "$root"; done
fi

shell=$root/usr/bin/tessel
cd "$folder/work"
for library in libtessel libqfcore; do
  name=$(dpkg-deb -f "$folder/$library"[0-9]*.deb Package)
  [[ $name == "$library"0.* && -e $root/usr/lib/$library.so.${name#"$library"} ]] || fail "$name does not hold its library"
done
# Not as a pipe: a grep that has found what it looks for ends, and ldd with it, which counts as a failure.
taken=$(ldd "$shell")
grep -q "libtessel.so.* $root/usr" <<<"$taken" || fail "the shell takes another library: $taken"
"$shell" "$root/usr/share/doc/tessel/examples/ecg.tsl" | diff -u "$source/tests/examples/ecg.expected" - || fail "the example prints something else"
[[ -s ecg.svg ]] || fail "the example leaves no picture"

[[ $("$shell" --version) == "tessel $(dpkg-deb -f "$folder"/tessel_*.deb Version)" ]] || fail "package and shell differ in version"
page=$(zcat "$root/usr/share/man/man1/tessel.1.gz" | tr -d '\\')
source "$root/usr/share/bash-completion/completions/tessel"
compopt() { :; }
complete_line() {
  COMP_WORDS=(tessel "$@") COMP_CWORD=$#
  _tessel
  printf "%s\n" "${COMPREPLY[*]}"
}
for option in $("$shell" --help | grep -oE '^  -[-a-z,]+' | tr ',' ' '); do
  [[ " $(complete_line "$option") " == *" $option "* && $page == *"$option"* ]] || fail "completion or manual page lacks $option"
done
touch a.tsl a.txt
[[ $(complete_line a) == a.tsl && $(complete_line a.tsl a) == "a.tsl a.txt" && -z $(complete_line -e a) ]] || fail "files are not completed"

export PYTHONPATH=$root/usr/lib/python3/dist-packages PYTHONDONTWRITEBYTECODE=1
[[ $(/usr/bin/python3 -P -c 'import qfcore; print(qfcore.fi([0.5], "s8,5").hex)') == *10* ]] || fail "the Python package does not compute"
export PKG_CONFIG_PATH=$root/usr/lib/pkgconfig
[[ $(realpath "$(pkg-config --variable=prefix qfcore)") == "$root/usr" && -e $root/usr/lib/libqfcore.so ]] || fail "programs do not find the library"
rm -rf "$folder"
