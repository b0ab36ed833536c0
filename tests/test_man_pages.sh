#!/bin/sh
# The manual pages read cleanly: no warning from mandoc's lint or from groff
# (a stray control character, a date mandoc cannot read, a bad macro).
# Usage: test_man_pages.sh PAGE...
set -u
failed=0
for page in "$@"; do
	out=$(mandoc -T lint -W warning "$page" 2>&1; groff -ww -man -z "$page" 2>&1)
	if [ -n "$out" ]; then
		failed=$((failed + 1))
		echo "FAIL: $page:"
		echo "$out"
	fi
done
echo "$# pages, $failed with warnings"
[ "$failed" = 0 ]
