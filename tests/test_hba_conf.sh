#!/bin/sh
# The hba.conf editor the library package's maintainer scripts run: its line
# added and removed, every other line untouched byte for byte, idempotent,
# a missing file created, mode kept, the file replaced (never rewritten in
# place). Usage: test_hba_conf.sh PATH-TO-hba-conf
set -u
tool=$1
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
passed=0 failed=0
ok() { passed=$((passed + 1)); }
bad() { failed=$((failed + 1)); echo "FAIL: $*"; }
same() { if cmp -s "$1" "$2"; then ok; else bad "$3"; diff "$1" "$2" | head -20; fi; }

NAME=org.qorl.libqorl-amd64
LIB=/usr/lib/x86_64-linux-gnu/libqorl.so.1
f=$dir/hba.conf

# The wrapper's own file as Debian installs it, with another vendor's line,
# a line without a final newline elsewhere and blanks kept as they are.
cat >"$dir/orig" <<'CONF'
# 
# This file contains names and references to HBA libraries
#
# Format:
#
# <library name>  <library pathname>
#
#debuglevel 3
com.example.other    /usr/lib/libother.so.2   
org.qorl.libqorl-amd64x /opt/lookalike/libx.so
CONF

# Added to an existing file: appended, the rest as it was.
cp "$dir/orig" "$f"
chmod 640 "$f"
"$tool" add "$f" $NAME $LIB || bad "add exits 0"
{ cat "$dir/orig"; echo "$NAME $LIB"; } >"$dir/want"
same "$dir/want" "$f" "add appends one line and keeps the others"
[ "$(stat -c %a "$f")" = 640 ] && ok || bad "mode kept"

# Again (a reinstall): nothing changes, the file is not even replaced.
inode=$(stat -c %i "$f")
"$tool" add "$f" $NAME $LIB || bad "second add exits 0"
same "$dir/want" "$f" "add is idempotent"
[ "$(stat -c %i "$f")" = "$inode" ] && ok || bad "an unchanged file is not replaced"

# Removed: the file is what it was before, byte for byte; again, no change.
"$tool" remove "$f" $NAME || bad "remove exits 0"
same "$dir/orig" "$f" "remove leaves every other line"
[ "$(stat -c %i "$f")" != "$inode" ] && ok || bad "a changed file is replaced by rename"
"$tool" remove "$f" $NAME || bad "second remove exits 0"
same "$dir/orig" "$f" "remove is idempotent"

# An old line of ours (another path, other spacing) is replaced where it stands.
printf 'a.b /x.so\n%s\t/usr/lib/old/libqorl.so.1\nc.d /y.so\n' $NAME >"$f"
"$tool" add "$f" $NAME $LIB
printf 'a.b /x.so\n%s %s\nc.d /y.so\n' $NAME $LIB >"$dir/want"
same "$dir/want" "$f" "an old registration is replaced in place"

# A missing file is created with the line; removing from a missing file is no error.
rm -f "$f"
"$tool" add "$f" $NAME $LIB || bad "add to a missing file exits 0"
grep -qx "$NAME $LIB" "$f" && ok || bad "a missing file is created with the line"
[ "$(grep -vc '^#' "$f")" = 1 ] && ok || bad "and only the line"
rm -f "$f"
"$tool" remove "$f" $NAME && ok || bad "remove from a missing file exits 0"
[ ! -e "$f" ] && ok || bad "remove does not create the file"

# A link is followed to its file, and stays a link.
cp "$dir/orig" "$dir/real.conf"
ln -s real.conf "$f"
"$tool" add "$f" $NAME $LIB
[ -L "$f" ] && grep -qx "$NAME $LIB" "$dir/real.conf" && ok || bad "a link's target is edited"
rm -f "$f"

# No temporary is left, and bad usage is refused without touching anything.
cp "$dir/orig" "$f"
for args in "add $f" "add $f $NAME" "add $f '' $LIB" "add $f '#x' $LIB" "add $f $NAME '/a b.so'" \
	"remove $f" "move $f $NAME"; do
	if eval "\"$tool\" $args" 2>/dev/null; then bad "refused: $args"; else ok; fi
done
same "$dir/orig" "$f" "refusals change nothing"
[ "$(ls -A "$dir" | grep -c '^\.hba\.conf\.')" = 0 ] && ok || bad "no temporary left"

echo "$passed passed, $failed failed"
[ "$failed" = 0 ]
