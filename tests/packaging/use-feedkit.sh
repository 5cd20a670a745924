#!/bin/sh
# Uses FeedKit as a stranger would: installs it, builds the example by find_package, by pkg-config and by
# add_subdirectory, and runs each. What the library exports is what packaging/feedkit/exported-names.txt lists.
# use-feedkit.sh SOURCE BUILD COMPILER FLAGS
set -eu
source=$1 build=$2 compiler=$3 flags=$4
work=$build/feedkit-package
rm -rf "$work"
mkdir -p "$work"

fail() { echo "$1" >&2; exit 1; }

# The page and the program say the same.
awk '/^```cpp$/{on=1; if(n++) print ""; next} /^```$/{on=0} on' "$source/docs/feedkit.md" >"$work/page.cpp"
diff "$work/page.cpp" "$source/examples/feedkit/headlines.cpp" || fail "docs/feedkit.md and its example differ"

for component in FeedKit FeedKitDevelopment; do
    cmake --install "$build" --component $component --prefix "$work/first" >>"$work/install.log"
done
# An installed tree may be moved.
mv "$work/first" "$work/moved"
prefix=$work/moved
if grep -rIl -e "$source" -e "$build" "$prefix/include" "$prefix"/lib*; then
    fail "installed files name the build"
fi

cmake -S "$source/examples/feedkit" -B "$work/example" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="$flags" >"$work/configure.log" || fail "find_package failed"
cmake --build "$work/example" >"$work/build.log" || { cat "$work/build.log"; exit 1; }

library=$(find "$prefix" -name 'libfeedkit.so.1.*')
LD_LIBRARY_PATH=$(dirname "$library")
export LD_LIBRARY_PATH
if [ -z "$flags" ]; then
    "$source/script/abi" names "$library" | diff "$source/packaging/feedkit/exported-names.txt" - ||
        fail "the library exports other names than packaging/feedkit/exported-names.txt lists (see script/abi)"
fi

PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name feedkit.pc)")
export PKG_CONFIG_PATH
# shellcheck disable=SC2086,SC2046
"$compiler" -std=c++20 $flags "$source/examples/feedkit/headlines.cpp" $(pkg-config --cflags --libs feedkit) \
    -o "$work/by-pkg-config"

# The headers compile with nothing but the installed ones, each by itself, without a warning, and name nothing of Vitrel.
if grep -rn -i 'vitrel\|"base/' "$prefix/include"; then fail "headers name what isn't FeedKit's"; fi
(cd "$prefix/include" && find . -name '*.h' | sort | sed 's,^\./,,') >"$work/headers"
while read -r header; do
    echo "#include \"$header\"" >"$work/header.cpp"
    # shellcheck disable=SC2086,SC2046
    "$compiler" -std=c++20 -Wall -Wextra -Wno-missing-field-initializers -pedantic -Werror $flags -fsyntax-only \
        $(pkg-config --cflags feedkit) "$work/header.cpp" || fail "$header doesn't stand alone"
done <"$work/headers"

printf '<rss><channel><title>News</title><item><title>First</title><enclosure url="a.mp3"/></item><item/></channel></rss>' \
    >"$work/news.xml"
printf 'News\n- First\n- (no title)\na.mp3\n' >"$work/expected"
for program in "$work/example/headlines" "$work/by-pkg-config"; do
    [ "$("$program" 2>"$work/error")" = "R&D, from memory" ] || fail "$program does not read from memory"
    grep -q "forgiven: ampersands" "$work/error" || fail "$program does not tell what it forgave"
    "$program" "$work/news.xml" | diff "$work/expected" - || fail "$program does not read a file"
    "$program" - <"$work/news.xml" | diff "$work/expected" - || fail "$program does not read a stream"
    "$program" "file://$work/news.xml" | diff "$work/expected" - || fail "$program does not read an address"
    if "$program" "$work/no-such-file" 2>"$work/error"; then fail "$program finds a file that is not there"; fi
    grep -q "file not found" "$work/error" || fail "$program does not say what is wrong"
done

# A component that doesn't exist is refused by name.
mkdir "$work/unknown"
cat >"$work/unknown/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.25)
project(Unknown CXX)
find_package(Vitrel COMPONENTS NoSuchPart)
if(Vitrel_FOUND)
  message(FATAL_ERROR "found a part that is not there")
endif()
END
cmake -S "$work/unknown" -B "$work/unknown/build" -DCMAKE_PREFIX_PATH="$prefix" >"$work/unknown.log" 2>&1 \
    || fail "find_package accepts an unknown component"
