#!/bin/bash
# The man pages render without a warning.
# usage: man_pages_test.sh PAGE...
set -uo pipefail
failed=0
for page in "$@"; do
    warnings=$(groff -ww -man -z "$page" 2>&1)
    if [[ $? -ne 0 || -n $warnings ]]; then
        echo "FAIL: $page: ${warnings:-groff failed}" >&2
        failed=1
    fi
done
exit $failed
