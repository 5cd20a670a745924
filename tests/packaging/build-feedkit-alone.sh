#!/bin/sh
# Builds FeedKit and its tool where nothing is to be found but what they need, and uses what is installed.
# build-feedkit-alone.sh SOURCE WORK
set -eu
source=$1 work=$2
rm -rf "$work"
mkdir -p "$work/pkgconfig"
# The only descriptions that pkg-config sees: these, and what they themselves require.
wanted="expat icu-i18n icu-uc libcurl"
while [ -n "$wanted" ]; do
    more=
    for name in $wanted; do
        [ -e "$work/pkgconfig/$name.pc" ] && continue
        cp "$(pkg-config --variable=pcfiledir "$name")/$name.pc" "$work/pkgconfig/"
        more="$more $(pkg-config --print-requires --print-requires-private "$name" | awk '{print $1}' | tr '\n' ' ')"
    done
    wanted=$(echo "$more" | xargs)
done
disabled=$(for name in GTest nlohmann_json ZLIB CLI11 Qt6; do echo "-DCMAKE_DISABLE_FIND_PACKAGE_$name=ON"; done)
# shellcheck disable=SC2086
PKG_CONFIG_LIBDIR=$work/pkgconfig cmake -S "$source" -B "$work/build" -G Ninja -DVITREL_FEEDKIT_ONLY=ON \
    -DBUILD_TESTING=OFF -DCMAKE_BUILD_TYPE= $disabled
cmake --build "$work/build"
cmake --install "$work/build" --prefix "$work/installed"
printf '<rss><channel><title>News</title></channel></rss>' >"$work/news.xml"
cd "$work"
[ "$(installed/bin/feedkit --kind news.xml)" = "$(printf 'news.xml\trss')" ]
find installed -name "libfeedkit.so.1.*" | grep -q .
! find installed -name '*vitrel*' -type f | grep -v /cmake/

# Taken in by another project, which gets the library and nothing else.
mkdir -p "$work/other"
cat >"$work/other/CMakeLists.txt" <<END
cmake_minimum_required(VERSION 3.25)
project(Other CXX)
add_subdirectory("$source" feedkit EXCLUDE_FROM_ALL)
add_executable(other "$source/examples/feedkit/headlines.cpp")
target_link_libraries(other PRIVATE FeedKit::FeedKit)
END
# shellcheck disable=SC2086
PKG_CONFIG_LIBDIR=$work/pkgconfig cmake -S "$work/other" -B "$work/other/build" -G Ninja $disabled
cmake --build "$work/other/build"
other/build/other news.xml | grep -qx News
