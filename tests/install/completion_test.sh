#!/bin/bash
# The bash completions parse, and offer what the programs accept. Each case
# is a command line (completed at its end), "is" or "has", and the words the
# completion must offer exactly (is) or among others (has).
# usage: completion_test.sh COMPLETIONS_DIR PROGRAM_DIR
set -uo pipefail
completions=$1
export PATH=$2:$PATH
cd "$(mktemp -d)" || exit 1
trap 'rm -rf "$PWD"' EXIT
mkdir hosts && touch hosts/rich.json rom.bin

for script in "$completions"/tbkit "$completions"/updatechecker; do
    bash -n "$script" || { echo "FAIL: $script does not parse" >&2; exit 1; }
    source "$script"
done

failed=0
check() {
    local line=$1 mode=$2 expected=$3 function=_${1%% *}
    COMP_LINE=$line COMP_POINT=${#line} COMPREPLY=()
    "$function"
    local offered
    offered=$(printf '%s\n' "${COMPREPLY[@]}" | sort | tr '\n' ' ')
    local word
    if [[ $mode == is ]]; then
        [[ $offered == "$(tr ' ' '\n' <<<"$expected" | sort | tr '\n' ' ')" ]] && return
    else
        for word in $expected; do [[ " $offered" == *" $word "* ]] || break; done
        [[ " $offered" == *" $word "* ]] && return
    fi
    echo "FAIL: '$line' offers [$offered], expected ($mode) [$expected]" >&2
    failed=1
}

[[ $(complete -p tbkit) == *"-F _tbkit tbkit" ]] || { echo "FAIL: tbkit has no completion" >&2; failed=1; }
check "tbkit " has "drom list paths read write iecs eeprom nvm --help --version"
check "tbkit dr" is "drom"
check "tbkit drom " is "parse build dump --help"
check "tbkit drom parse --" has "--port-map --ignore-crcs --json --help --verbose"
check "tbkit drom build --port-map " is "lane6-pcie4-dp3 lane5-pcie4-dp3 lane1-pcieup1"
check "tbkit drom build --port-map=lane1" is "lane1-pcieup1"
check "tbkit drom parse r" is "rom.bin"
check "tbkit drom build -o ho" is "hosts/"
check "tbkit read --sp" is "--space"
check "tbkit read --space " is "device port path counter"
check "tbkit read --space=p" is "port path"
check "tbkit list --host=" has "sim sim:"
check "tbkit list --host sim:hosts/r" is "hosts/rich.json"
check "tbkit list --host=sim:hosts/r" is "hosts/rich.json"
check "tbkit list --json -" has "--json --host --help --verbose"
check "tbkit list --d" is "--dot"
check "tbkit paths -" has "--dot --quiet -q --host"
check "tbkit report all --q" is "--quiet"
check "tbkit nvm read --route 0x1 --" has "--route --rid --offset --length --host"
check "updatechecker --n" is "--no --nomulti --nouid"
check "updatechecker -" has "-r -a -b -n -c -i -m -u -z -v -V --help --host="
check "updatechecker --sa" is "--save-host"
check "tbkit host " is "restart --help"
check "tbkit host restart --s" is "--save-host"
check "updatechecker --host=s" is "sim sim:"
check "updatechecker --host=sim:ho" is "hosts/"
check "updatechecker -b r" is "rom.bin"
check "updatechecker -a r" is ""
exit $failed
