#!/usr/bin/env bash
# Fails unless the plug-in binary needs only the C library family at glibc 2.31
# symbol versions or older, leaves undefined only X-Plane's own functions, and
# exports only X-Plane's five entry points.
# Usage: check-needs.sh path/to/Quelby.xpl
set -euo pipefail
xpl="$1"
allowed="libc.so.6 libm.so.6 libdl.so.2 libpthread.so.0 ld-linux-x86-64.so.2"
oldest_supported="2.31"

needed="$(readelf -d "$xpl" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | sort)"
echo "needed libraries: $(echo $needed)"
bad=0
for lib in $needed; do
  case " $allowed " in
    *" $lib "*) ;;
    *) echo "  not allowed: $lib (a pilot's machine may not have it)"; bad=1 ;;
  esac
done

highest="$(objdump -T "$xpl" | grep -o 'GLIBC_[0-9][0-9.]*' | sed 's/GLIBC_//' | sort -uV | tail -n 1)"
echo "highest glibc symbol version: ${highest:-none}"
if [ -n "$highest" ] &&
   [ "$(printf '%s\n%s\n' "$highest" "$oldest_supported" | sort -V | tail -n 1)" != "$oldest_supported" ]; then
  echo "  newer than glibc $oldest_supported:"
  objdump -T "$xpl" | grep -E "GLIBC_$highest\b" | sed 's/^/    /'
  bad=1
fi

# What the system's libraries do not define must be X-Plane's: anything else
# makes X-Plane refuse the plug-in when it loads it.
unresolved="$(nm -D --undefined-only "$xpl" | awk '$1 == "U" && $2 !~ /@/ && $2 !~ /^XP/ {print $2}')"
if [ -n "$unresolved" ]; then
  echo "  undefined, and no library or X-Plane defines them: $(echo $unresolved)"
  bad=1
fi

exports="$(nm -D --defined-only "$xpl" | awk '$2 ~ /^[TDBRVW]$/ {print $3}' | sort | paste -sd' ')"
echo "exports: $exports"
if [ "$exports" != "XPluginDisable XPluginEnable XPluginReceiveMessage XPluginStart XPluginStop" ]; then
  echo "  the plug-in must export exactly X-Plane's five entry points"
  bad=1
fi
echo "size: $(stat -c %s "$xpl") bytes"
exit "$bad"
