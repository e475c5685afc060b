#!/usr/bin/env bash
# Checks the macOS plug-in as a Mac would before loading it, and fails unless
# the file holds exactly an x86_64 and an arm64 slice and each slice
#   - is a dynamic library (or a bundle) for macOS, no newer than the oldest
#     macOS the plug-in is built for;
#   - needs only /usr/lib/libSystem.B.dylib and /usr/lib/libcurl.4.dylib;
#   - exports exactly X-Plane's five entry points;
#   - leaves undefined only the SDK functions that the project's own headers
#     in xplane/ declare (to be looked up in X-Plane when it loads the
#     plug-in; never X-Plane 12.04's mixer, which X-Plane 11 lacks) and
#     symbols that libSystem's link stubs and the plug-in's libcurl list
#     promise;
#   - carries a code signature whose page hashes match its bytes
#     (tools/macos/macho-check.py).
# Prints each slice's size, load commands, imports and exports.
# Usage: check.sh path/to/mac_x64/Quelby.xpl
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)"
xpl="$1"
if [ -z "${QUELBY_MACOS_TOOLCHAIN:-}" ] || [ -z "${QUELBY_MACOS_MIN:-}" ]; then
  eval "$(bash "$root/tools/macos/setup.sh")"
fi
libsystem="$QUELBY_MACOS_TOOLCHAIN/zig/lib/libc/darwin/libSystem.${QUELBY_MACOS_MIN%%.*}.tbd"
checker="$root/tools/macos/macho-check.py"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

# What the plug-in may import besides libSystem.
imports="$(cmake -P "$root/cmake/MacosImports.cmake")"
curl_functions=" $(echo "$imports" | sed -n 's/^libcurl //p') "
sdk_functions=" $(echo "$imports" | sed -n 's/^xplane //p') "
allowed_libraries="/usr/lib/libSystem.B.dylib /usr/lib/libcurl.4.dylib"
entry_points="_XPluginDisable _XPluginEnable _XPluginReceiveMessage _XPluginStart _XPluginStop"
# Found through XPLMFindSymbol while the plug-in runs: an import of one would
# keep the plug-in from loading in X-Plane 11.
found_by_name="_XPLMPlayPCMOnBus _XPLMStopAudio"

bad=0
fail() {
  echo "  FAILED: $*"
  bad=1
}

archs="$(llvm-lipo-14 -archs "$xpl" 2>"$work/lipo")" || fail "$(cat "$work/lipo")"
echo "$xpl: $(stat -c %s "$xpl") bytes, slices: ${archs:-none}"
if [ "$(printf '%s\n' $archs | sort | paste -sd' ')" != "arm64 x86_64" ]; then
  fail "a universal file with exactly an x86_64 and an arm64 slice was expected"
fi

for arch in $archs; do
  thin="$work/$arch"
  llvm-lipo-14 "$xpl" -thin "$arch" -output "$thin"
  echo "== $arch slice: $(stat -c %s "$thin") bytes"

  filetype="$(llvm-otool-14 -hv "$thin" | awk 'END {print $5}')"
  echo "file type: $filetype"
  case "$filetype" in
    DYLIB | BUNDLE) ;;
    *) fail "not a dynamic library or bundle" ;;
  esac

  commands="$(llvm-otool-14 -l "$thin")"
  echo "load commands: $(echo "$commands" | awk '$1 == "cmd" {print $2}' | paste -sd' ')"
  platform="$(echo "$commands" | awk '$1 == "platform" {print $2; exit}')"
  minos="$(echo "$commands" | awk '$1 == "minos" {print $2; exit}')"
  echo "platform: ${platform:-none}, oldest macOS: ${minos:-none}"
  [ "$platform" = macos ] || fail "not built for macOS"
  [ "$minos" = "$QUELBY_MACOS_MIN" ] || fail "built for macOS $minos, not $QUELBY_MACOS_MIN"

  # Every library the slice loads, however it loads it.
  libraries="$(echo "$commands" | awk '
    $1 == "cmd" { loads = ($2 ~ /^LC_(LOAD|LOAD_WEAK|REEXPORT|LAZY_LOAD|LOAD_UPWARD)_DYLIB$/) }
    loads && $1 == "name" { print $2 }')"
  echo "needs: $(echo $libraries)"
  for library in $libraries; do
    case " $allowed_libraries " in
      *" $library "*) ;;
      *) fail "needs $library, which a Mac may not have" ;;
    esac
  done
  echo "$libraries" | grep -qx /usr/lib/libSystem.B.dylib || fail "does not load libSystem"
  if echo "$commands" | grep -q "cmd LC_LOAD_DYLINKER"; then
    fail "names a dynamic linker, as only programs do"
  fi

  # The symbol table and the export trie (what the loader reads) alike.
  exported="$(llvm-nm-14 -gU "$thin" | awk '{print $NF}' | sort | paste -sd' ')"
  trie="$(llvm-objdump-14 --macho --exports-trie "$thin" | awk '$1 ~ /^0x/ {print $NF}' |
    sort | paste -sd' ')"
  echo "exports: $exported"
  [ "$exported" = "$entry_points" ] || fail "the symbol table must export exactly the five entry points"
  [ "$trie" = "$entry_points" ] || fail "the export trie holds '$trie'"

  target="$arch-macos"
  python3 "$checker" tbd-symbols "$libsystem" "$target" >"$work/libsystem-symbols" ||
    fail "libSystem's stubs ($libsystem) list nothing for $target"
  from_system=0 from_curl=0 looked_up=()
  while read -r name origin; do
    case "$origin" in
      "from libSystem")
        grep -qxF -- "$name" "$work/libsystem-symbols" ||
          fail "$name is taken from libSystem, whose stubs do not list it"
        from_system=$((from_system + 1)) ;;
      "from libcurl")
        [[ "$curl_functions" == *" ${name#_} "* ]] ||
          fail "$name is taken from libcurl, which the plug-in does not list"
        from_curl=$((from_curl + 1)) ;;
      "dynamically looked up")
        [[ "$sdk_functions" == *" ${name#_} "* ]] ||
          fail "$name is left to be found at load, and xplane/ declares no such SDK function"
        [[ " $found_by_name " == *" $name "* ]] &&
          fail "$name is imported, which X-Plane 11 lacks (it must be found by name)"
        looked_up+=("${name#_}") ;;
      *) fail "$name is undefined, and nothing defines it ($origin)" ;;
    esac
  done < <(llvm-nm-14 -u -m "$thin" |
    sed -n 's/^ *(undefined) \(weak \)\{0,1\}external \([^ ]*\) (\(.*\))$/\2 \3/p')
  undefined="$(llvm-nm-14 -u "$thin" | wc -l)"
  listed=$((from_system + from_curl + ${#looked_up[@]}))
  [ "$undefined" -eq "$listed" ] || fail "$undefined undefined symbols, $listed of them understood"
  echo "imports: $from_system from libSystem, $from_curl from libcurl," \
    "${#looked_up[@]} SDK functions looked up in X-Plane at load:"
  echo "${looked_up[*]}" | fold -s -w 100 | sed 's/^/  /'

  python3 "$checker" signature "$thin" | sed "s/^$arch: /signature: /" || fail "the signature does not hold"
done

if [ "$bad" -ne 0 ]; then
  echo "$xpl: FAILED"
else
  echo "$xpl: passed"
fi
exit "$bad"
