#!/bin/sh
# Lays an SDK out as a vendor ships it, with the wrapping beside it: make_sdk.sh FOLDER CXX.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
sdk=$1
rm -rf "$sdk"
mkdir -p "$sdk/lib"
cp -R "$here/SubtitleSdkConfig.cmake" "$here/adapters" "$here/vendor/include" "$sdk/"
"$2" -std=c++17 -shared -fPIC -O1 -I"$sdk/include" "$here/vendor/vendor_library.cpp" \
    -Wl,-soname,libsubtitleclient.so -o "$sdk/lib/libsubtitleclient.so"
