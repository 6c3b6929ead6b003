#!/bin/sh
# Builds and runs examples/example.cpp with the flags pkg-config gives for an
# installed psdkit.
set -eu
prefix=$1 source=$2 work=$3 libdir=$4
rm -rf "$work" && mkdir -p "$work"
export PKG_CONFIG_PATH="$prefix/$libdir/pkgconfig"
flags=$(pkg-config --define-variable=prefix="$prefix" --cflags --libs psdkit)
# shellcheck disable=SC2086
c++ -std=c++17 -o "$work/psdkit_example" "$source/example.cpp" $flags -Wl,-rpath,"$prefix/$libdir"
"$work/psdkit_example" "$work/example.psd"
