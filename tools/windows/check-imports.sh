#!/usr/bin/env bash
# Fails unless the Windows plug-in imports from nothing but X-Plane's two SDK
# DLLs and DLLs that every Windows has, and exports only X-Plane's five entry
# points.
# Usage: check-imports.sh path/to/win_x64/Quelby.xpl
set -euo pipefail
xpl="$1"
objdump=x86_64-w64-mingw32-objdump
# Windows' own: the kernel, the C runtime every Windows carries, sockets, the
# system's cryptography and TLS, and WinHTTP for the proxy of its settings.
allowed="xplm_64.dll xpwidgets_64.dll kernel32.dll msvcrt.dll ws2_32.dll advapi32.dll bcrypt.dll crypt32.dll secur32.dll user32.dll winhttp.dll"
imports="$("$objdump" -p "$xpl" | sed -n 's/^\s*DLL Name: //p' | sort -f)"
echo "imported DLLs: $(echo $imports)"
bad=0
for dll in $imports; do
  case " $allowed " in
    *" $(echo "$dll" | tr 'A-Z' 'a-z') "*) ;;
    *) echo "  not allowed: $dll (a pilot's Windows may not have it)"; bad=1 ;;
  esac
done
for sdk in XPLM_64.dll XPWidgets_64.dll; do
  echo "$imports" | grep -qx "$sdk" || { echo "  no import from $sdk"; bad=1; }
done
# X-Plane 12.04's mixer functions are found by name: an import of one would
# make X-Plane 11 refuse the DLL.
if "$objdump" -p "$xpl" | grep -Eq '\bXPLM(PlayPCMOnBus|StopAudio)\b'; then
  echo "  imports a mixer function that X-Plane 11 lacks"
  bad=1
fi
exports="$("$objdump" -p "$xpl" | sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p' |
  sed -n 's/^\s*\[\s*[0-9]*\] //p' | sort | paste -sd' ')"
echo "exported: $exports"
if [ "$exports" != "XPluginDisable XPluginEnable XPluginReceiveMessage XPluginStart XPluginStop" ]; then
  echo "  the plug-in must export exactly the five entry points"
  bad=1
fi
echo "size: $(stat -c %s "$xpl") bytes"
exit "$bad"
