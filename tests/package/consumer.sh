#!/usr/bin/env bash
# Installs the build tree given as $1 into a folder of its own and builds the programs of
# consumer/ against it, once by the CMake package and once by pkg-config, then runs them.
set -euo pipefail
build=$1
sources=$(cd "$(dirname "$0")/consumer" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

DESTDIR=$work/staging cmake --install "$build" --prefix /opt/qvorlin >install.log
# Moved after the installation: neither package may know where it was built for.
mv staging/opt/qvorlin prefix
prefix=$work/prefix
libdir=$(dirname "$(find "$prefix" -name libqvorlin.so)")
export LD_LIBRARY_PATH=$libdir

echo "by find_package"
cmake -S "$sources" -B by-cmake -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Release >cmake.log
cmake --build by-cmake >build.log || { cat build.log; exit 1; }
./by-cmake/viewer
./by-cmake/plain
# The store's default is everybody's; a relative one leaves the modes of the folders above alone.
export SYSINFO_PROFILE=store
./by-cmake/store
./by-cmake/storereader

echo "by pkg-config"
export PKG_CONFIG_PATH=$libdir/pkgconfig
# shellcheck disable=SC2046
c++ -std=c++17 -fPIC "$sources/viewer.cpp" -o viewer $(pkg-config --cflags --libs qvorlin qvorlin-logger)
./viewer
# shellcheck disable=SC2046
cc -std=c11 "$sources/plain.c" -o plain $(pkg-config --cflags --libs qvorlin-shm)
./plain
# shellcheck disable=SC2046
cc -std=c11 -pedantic-errors "$sources/store.c" -o store-in-c $(pkg-config --cflags --libs qvorlin-sysinfo)
./store-in-c
# shellcheck disable=SC2046
c++ -std=c++17 -fPIC "$sources/storereader.cpp" -o storereader \
    $(pkg-config --cflags --libs qvorlin qvorlin-sysinfo)
./storereader
for program in plain store-in-c; do
    if ldd "$program" | grep -q Qt5; then
        echo "a program of the stream library or the store alone must not load Qt" >&2
        exit 1
    fi
done

echo "every installed header compiles alone"
cd "$prefix/include/qvorlin"
find . -name '*.h' | sed 's,^\./,,' | while read -r header; do
    # shellcheck disable=SC2046
    echo "#include \"$header\"" | c++ -std=c++17 -fPIC -fsyntax-only -x c++ - \
        $(pkg-config --cflags qvorlin) || { echo "$header does not stand alone" >&2; exit 1; }
done
