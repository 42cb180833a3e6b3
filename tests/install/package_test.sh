#!/bin/bash
# The Debian package holds the installed tree: the programs, the error
# dictionary, the link, the man pages and the completions.
# usage: package_test.sh CPACK BUILD_DIR PROJECT_NAME
set -euo pipefail
cpack=$1 build=$2 project=$3
command -v dpkg-deb >/dev/null || { echo "dpkg-deb is missing"; exit 77; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$cpack" --config "$build/CPackConfig.cmake" -G DEB -B "$work" >/dev/null
package=$(echo "$work"/*.deb)
[[ -f $package ]] || { echo "FAIL: no package built" >&2; exit 1; }
listing=$(dpkg-deb -c "$package")
for entry in ./usr/bin/tbkit "./usr/libexec/$project/updatechecker" "./usr/libexec/$project/Errors.plist" \
    "./usr/sbin/updatechecker -> ../libexec/$project/updatechecker" \
    ./usr/share/man/man8/tbkit.8 ./usr/share/man/man8/updatechecker.8 \
    ./usr/share/bash-completion/completions/tbkit ./usr/share/bash-completion/completions/updatechecker; do
    grep -qF -- " $entry" <<<"$listing" || { echo "FAIL: the package lacks $entry" >&2; echo "$listing" >&2; exit 1; }
done
[[ -n $(dpkg-deb -f "$package" Depends) ]] || { echo "FAIL: the package names no dependency" >&2; exit 1; }
echo "$(basename "$package") holds the installed tree"
