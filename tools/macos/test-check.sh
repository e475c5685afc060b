#!/usr/bin/env bash
# Proves that the macOS checks can fail: tools/macos/check.sh passes the
# built plug-in, and fails each copy of it with one fault put in, for that
# fault's reason; the strict link fails without the stub of one of X-Plane's
# frameworks. Needs tools/macos/build.sh's output.
#   tools/macos/test-check.sh
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)"
build="${QUELBY_MACOS_BUILD_DIR:-$root/build-macos}"
xpl="$build/Quelby/mac_x64/Quelby.xpl"
eval "$(bash "$root/tools/macos/setup.sh")"
export QUELBY_MACOS_TOOLCHAIN QUELBY_MACOS_MIN
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
passed=0
failed=0

# Writes a copy of the plug-in with one change to one slice:
#   flip OFFSET            the byte at OFFSET within the slice, inverted
#   replace OLD NEW        every OLD in the slice, NEW of the same length
#   program                a program's file type in the Mach-O header, and
#                          the library's own name loaded as a library
#   minos MAJOR            the oldest macOS in LC_BUILD_VERSION
#   signature-byte N       the byte N bytes into the code signature, inverted
#   directory AT BITS      the 32-bit field AT bytes into the signature's
#                          CodeDirectory, XORed with BITS
#   command FROM TO        the first load command FROM, made a command TO
tamper() {
  python3 - "$xpl" "$@" <<'EOF'
import struct, sys
source, out, arch, op, *args = sys.argv[1:]
data = bytearray(open(source, "rb").read())
cpus = {"x86_64": 0x01000007, "arm64": 0x0100000C}
count = struct.unpack_from(">I", data, 4)[0]
for i in range(count):
    cpu, _, offset, size, _ = struct.unpack_from(">iiIII", data, 8 + 20 * i)
    if cpu == cpus[arch]:
        break
else:
    sys.exit(f"no {arch} slice")
def commands():
    ncmds = struct.unpack_from("<I", data, offset + 16)[0]
    at = offset + 32
    for _ in range(ncmds):
        cmd, cmdsize = struct.unpack_from("<II", data, at)
        yield cmd, at
        at += cmdsize
if op == "flip":
    data[offset + int(args[0])] ^= 0xFF
elif op == "replace":
    old, new = args[0].encode(), args[1].encode()
    assert len(old) == len(new)
    piece = bytes(data[offset:offset + size])
    assert old in piece, f"{args[0]} is not in the slice"
    data[offset:offset + size] = piece.replace(old, new)
elif op == "program":
    struct.pack_into("<I", data, offset + 12, 2)  # MH_EXECUTE
    at = next(at for cmd, at in commands() if cmd == 0xD)  # LC_ID_DYLIB
    struct.pack_into("<I", data, at, 0xC)  # LC_LOAD_DYLIB
elif op == "minos":
    at = next(at for cmd, at in commands() if cmd == 0x32)  # LC_BUILD_VERSION
    struct.pack_into("<I", data, at + 12, int(args[0]) << 16)
elif op == "signature-byte":
    at = next(at for cmd, at in commands() if cmd == 0x1D)  # LC_CODE_SIGNATURE
    dataoff = struct.unpack_from("<I", data, at + 8)[0]
    data[offset + dataoff + int(args[0])] ^= 0xFF
elif op == "directory":
    at = next(at for cmd, at in commands() if cmd == 0x1D)  # LC_CODE_SIGNATURE
    blob = offset + struct.unpack_from("<I", data, at + 8)[0]
    count = struct.unpack_from(">I", data, blob + 8)[0]
    directory = next(blob + struct.unpack_from(">I", data, blob + 16 + 8 * i)[0]
                     for i in range(count) if struct.unpack_from(">I", data, blob + 12 + 8 * i)[0] == 0)
    field = directory + int(args[0])
    struct.pack_into(">I", data, field, struct.unpack_from(">I", data, field)[0] ^ int(args[1], 0))
elif op == "command":
    at = next(at for cmd, at in commands() if cmd == int(args[0], 0))
    struct.pack_into("<I", data, at, int(args[1], 0))
open(out, "wb").write(data)
EOF
}

# Runs check.sh on FILE and expects it to fail saying REASON (or to pass when
# REASON is "passed").
expect() {
  local name="$1" file="$2" reason="$3" output rc=0
  output="$(bash "$root/tools/macos/check.sh" "$file" 2>&1)" || rc=$?
  if [ "$reason" = passed ]; then
    if [ "$rc" -eq 0 ] && grep -q ": passed$" <<<"$output"; then
      echo "ok: $name"
      passed=$((passed + 1))
      return
    fi
  elif [ "$rc" -ne 0 ] && grep -qF -- "$reason" <<<"$output"; then
    echo "ok: $name"
    passed=$((passed + 1))
    return
  fi
  echo "FAILED: $name: expected '$reason', check.sh exited $rc and said:"
  grep -E "FAILED|passed" <<<"$output" | sed 's/^/    /'
  failed=$((failed + 1))
}

expect "the plug-in as built passes" "$xpl" passed

tamper "$work/code-x86_64" x86_64 flip 70000
expect "a byte of x86_64 code changed" "$work/code-x86_64" "page 17 (bytes 69632-73727) does not match its hash"
tamper "$work/code-arm64" arm64 flip 70000
expect "a byte of arm64 code changed" "$work/code-arm64" "page 17 (bytes 69632-73727) does not match its hash"
tamper "$work/signature" arm64 signature-byte 0
expect "the signature's header damaged" "$work/signature" "the signature is no embedded signature"
# The CodeDirectory's flags, its count of page hashes and the end of what
# it signs, as Apple's code-signing header lays them out.
tamper "$work/adhoc" x86_64 directory 12 0x2
expect "a signature that is not ad hoc" "$work/adhoc" "not signed ad hoc"
tamper "$work/slots" arm64 directory 28 0x1
expect "a page hash too few" "$work/slots" "hash slots for"
tamper "$work/limit" x86_64 directory 32 0x1000
expect "a signed range that leaves bytes out" "$work/limit" "the signed range ends at"
# LC_CODE_SIGNATURE made LC_DYLIB_CODE_SIGN_DRS, a command that signs nothing.
tamper "$work/unsigned" arm64 command 0x1D 0x2B
expect "no signature at all" "$work/unsigned" "no code signature (LC_CODE_SIGNATURE)"

llvm-lipo-14 "$xpl" -thin arm64 -output "$work/thin"
expect "one slice alone" "$work/thin" "exactly an x86_64 and an arm64 slice"

tamper "$work/filetype" x86_64 program
expect "a program, not a library" "$work/filetype" "not a dynamic library or bundle"
tamper "$work/minos" arm64 minos 12
expect "built for a newer macOS" "$work/minos" "built for macOS 12.0, not $QUELBY_MACOS_MIN"

tamper "$work/library" x86_64 replace /usr/lib/libcurl.4.dylib /usr/lib/libcurl.5.dylib
expect "another library needed" "$work/library" "needs /usr/lib/libcurl.5.dylib, which a Mac may not have"

tamper "$work/export" arm64 replace _XPluginStop _XPluginStoq
expect "an entry point renamed" "$work/export" "must export exactly the five entry points"

tamper "$work/sdk" x86_64 replace _XPLMSpeakString _XPLMSpeakStrinG
expect "an SDK function xplane/ does not declare" "$work/sdk" \
  "_XPLMSpeakStrinG is left to be found at load, and xplane/ declares no such SDK function"

tamper "$work/system" arm64 replace _pthread_setname_np _pthread_setname_nq
expect "a libSystem function that libSystem lacks" "$work/system" \
  "_pthread_setname_nq is taken from libSystem, whose stubs do not list it"

tamper "$work/curl" x86_64 replace _curl_easy_perform _curl_easy_perforM
expect "a libcurl function the plug-in does not list" "$work/curl" \
  "_curl_easy_perforM is taken from libcurl, which the plug-in does not list"

# The strict link of the x86_64 slice again, without the stub of XPWidgets:
# the widget functions then stay unresolved, and the link must say so.
strict="$build/x86_64"
link="$(cat "$strict/CMakeFiles/QuelbyStrictLink.dir/link.txt")"
without="$(sed "s| [^ ]*stubs/XPWidgets\.tbd||; s| -o [^ ]*| -o $work/strict.xpl|" <<<"$link")"
if [ "$without" != "$link" ] && ! (cd "$strict" && eval "$without") >"$work/strict.txt" 2>&1 &&
   grep -q "undefined symbol: _XPCreateWidget" "$work/strict.txt"; then
  echo "ok: the strict link without XPWidgets' stub fails"
  passed=$((passed + 1))
else
  echo "FAILED: the strict link without XPWidgets' stub did not fail on _XPCreateWidget"
  sed 's/^/    /' "$work/strict.txt" 2>/dev/null | head -5 || true
  failed=$((failed + 1))
fi

echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
