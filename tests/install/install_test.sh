#!/bin/bash
# Installs the build tree into a temporary prefix below DESTDIR and runs the
# installed programs from there, started through PATH and through the link.
# usage: install_test.sh CMAKE BUILD_DIR PROJECT_NAME
set -euo pipefail
cmake=$1 build=$2 project=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

DESTDIR=$work/stage "$cmake" --install "$build" --prefix /opt/tbt >/dev/null
root=$(readlink -f "$work/stage/opt/tbt")
libexec=$root/libexec/$project

for file in bin/tbkit "libexec/$project/updatechecker" "libexec/$project/Errors.plist" \
    share/man/man8/tbkit.8 share/man/man8/updatechecker.8 \
    share/bash-completion/completions/tbkit share/bash-completion/completions/updatechecker; do
    [[ -f $root/$file ]] || fail "$file is not installed"
done
[[ -L $root/sbin/updatechecker && $(readlink -f "$root/sbin/updatechecker") == "$libexec/updatechecker" ]] ||
    fail "sbin/updatechecker is not a link to the program in libexec"
grep -qF "/opt/tbt/libexec/$project/Errors.plist" "$root/share/man/man8/updatechecker.8" ||
    fail "the installed man page does not name the installed directory"

# Runs the words given from an empty directory with the installed sbin and bin
# first in PATH; sets status and output (both streams).
run() {
    status=0
    output=$(cd "$work" && env -u TBT_HOST PATH="$root/sbin:$root/bin:$PATH" "$@" 2>&1) || status=$?
}

# A failing run's message comes from the installed Errors.plist, whichever way
# the program was started.
for program in updatechecker "$root/sbin/updatechecker" "$libexec/updatechecker"; do
    run "$program" --host=sim -b
    [[ $status -eq 135 ]] || fail "$program -b: exit status $status, not 135"
    grep -qF "Error: 'Backflash needs at least two operands" <<<"$output" ||
        fail "$program -b: no message from Errors.plist: $output"
done

# The boot-selection command names the files in the installed directory.
run updatechecker --host=sim -a -V
[[ $status -eq 0 ]] || fail "updatechecker -a: exit status $status: $output"
grep -qF -- "-firmware \"$libexec/VaneUtil.efi\" -payload \"$libexec/Panel-26-02.bin\"" <<<"$output" ||
    fail "the boot-selection command does not name $libexec: $output"

run tbkit --version
[[ $status -eq 0 && $output == "tbkit ($project) "[0-9]* ]] || fail "tbkit --version: $output"
run updatechecker --help
grep -qF "Update Checker version 57" <<<"$output" || fail "updatechecker --help names no version"

run tbkit list --host=sim
[[ $status -eq 0 ]] || fail "tbkit list: exit status $status: $output"
grep -qF "Router 0x301 (depth 2)" <<<"$output" || fail "tbkit list: $output"
echo "installed tree under $root works"
