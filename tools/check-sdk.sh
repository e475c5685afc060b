#!/usr/bin/env bash
# Builds the plug-in against X-Plane's official SDK headers with only the SDK
# versions X-Plane 11.50 has (XPLM200 to XPLM302): a direct call to anything
# newer does not compile. The same build proves at compile time that every
# function and constant the project's own headers in xplane/ declare is
# declared as X-Plane declares it.
#   tools/check-sdk.sh [SDK folder]   default: ../shared/xplane/SDK beside the checkout
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
sdk="${1:-$root/../shared/xplane/SDK}"
if [ ! -f "$sdk/CHeaders/XPLM/XPLMDefs.h" ]; then
  echo "check-sdk.sh: no X-Plane SDK at $sdk; nothing checked" >&2
  exit 1
fi
sdk="$(cd "$sdk" && pwd)"
build="${QUELBY_SDK_BUILD_DIR:-$root/build-sdk}"
cmake -S "$root" -B "$build" -DXPLANE_SDK_DIR="$sdk" -DQUELBY_BUILD_TESTS=OFF -DQUELBY_WERROR=ON >/dev/null
cmake --build "$build" -j"${QUELBY_JOBS:-2}" --target Quelby quelby_sdk_declaration_check
echo "The plug-in builds against X-Plane's SDK at $sdk (XPLM200 to XPLM302), and xplane/ declares what it declares."
