#!/bin/sh
# Configures for the device without its compiler, then with it. The second attempt must not use
# results of the first one.
set -eu
root=$1
unset CMAKE_CXX_COMPILER_LAUNCHER  # it is not on the PATH below
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
mkdir "$scratch/project" "$scratch/none" "$scratch/cross"
cat >"$scratch/project/CMakeLists.txt" <<'PROJECT'
cmake_minimum_required(VERSION 3.25)
project(Any LANGUAGES CXX)
message(STATUS "strip is ${CMAKE_STRIP}")
PROJECT

for tool in cmake ninja g++ as ld ar strip; do
    ln -s "$(command -v "$tool")" "$scratch/none/$tool"
done
for tool in g++ ar strip; do
    ln -s "$(command -v "$tool")" "$scratch/cross/powerpc-linux-gnu-$tool"
done
configure() {  # PATH
    PATH=$1 cmake -G Ninja -S "$scratch/project" -B "$scratch/build" \
        --toolchain "$root/cmake/toolchain-powerpc-linux-gnu.cmake" >"$scratch/output" 2>&1
}
fail() {
    echo "$*; the output is:"
    cat "$scratch/output"
    exit 1
}

! configure "$scratch/none" || fail "configured without a compiler"
grep -q 'script/bootstrap device' "$scratch/output" || fail "does not name script/bootstrap"
configure "$scratch/cross:$scratch/none" || fail "does not configure with the compiler"
grep -qx -- "-- strip is $scratch/cross/powerpc-linux-gnu-strip" "$scratch/output" ||
    fail "uses the strip of the build machine"

# script/package installs the compiler before it makes packages for the device.
mkdir -p "$scratch/tree"
cp -R "$root/script" "$scratch/tree"
printf '#!/bin/sh\necho "$*" >%s\nexit 1\n' "$scratch/job" >"$scratch/tree/script/bootstrap"
! SOURCE_DATE_EPOCH=0 "$scratch/tree/script/package" device >"$scratch/output" 2>&1 ||
    fail "script/package goes on without its packages"
grep -qx 'preset device' "$scratch/job" || fail "script/package does not install the compiler"
