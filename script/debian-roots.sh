# shellcheck shell=bash
# To be sourced by bash: fresh Debians in a folder, each a root of its own. The caller says `set -eu -o pipefail`, has
# root's rights and mounts of its own, a function `fail MESSAGE`, and has set
#   folder   where the roots lie, and archives/ with the downloaded packages
#   version  12 or 13
# VITREL_MIRROR and VITREL_SECURITY_MIRROR name other archives than this machine's own.
case $version in
    12) suite=bookworm ;;
    13) suite=trixie ;;
    *) fail "which Debian: 12 or 13?" ;;
esac

archive() { # LABEL: where this machine gets it
    apt-get indextargets --format '$(LABEL) $(REPO_URI)' | awk -v label="$1" '$1 == label && !seen++ { print $2 }'
}
mirror=${VITREL_MIRROR:-$(archive Debian)}
security=${VITREL_SECURITY_MIRROR:-$(archive Debian-Security)}
[ -n "$mirror" ] || fail "apt names no archive of Debian; VITREL_MIRROR can"
mkdir -p "$folder/archives/partial"

# Its devices, as debootstrap wants to find them where it can't make them, and what the roots share.
mounted() { # ROOT
    local device
    # A mount of its own, or nothing in it could have mounts of its own.
    mount --bind "$1" "$1"
    mount -t tmpfs -o mode=755 tmpfs "$1/dev"
    for device in null zero full random urandom tty; do
        touch "$1/dev/$device"
        mount --bind "/dev/$device" "$1/dev/$device"
    done
    mkdir "$1/dev/pts" "$1/dev/shm"
    mount -t devpts -o newinstance,ptmxmode=0666,mode=620,gid=5 devpts "$1/dev/pts"
    mount -t tmpfs -o mode=1777 tmpfs "$1/dev/shm"
    ln -s pts/ptmx "$1/dev/ptmx"
    mkdir -p "$1/var/cache/apt/archives"
    mount --bind "$folder/archives" "$1/var/cache/apt/archives"
}
# And what else it needs while something runs in it.
started() { # ROOT
    mounted "$1"
    mount -t proc proc "$1/proc"
    ln -s /proc/self/fd "$1/dev/fd"
    ln -s /proc/self/fd/0 "$1/dev/stdin"
    ln -s /proc/self/fd/1 "$1/dev/stdout"
    ln -s /proc/self/fd/2 "$1/dev/stderr"
    mount -t tmpfs -o mode=755 tmpfs "$1/run"
    mount -t tmpfs -o mode=1777 tmpfs "$1/tmp"
    local file
    for file in /etc/apt/apt.conf.d/*proxy* /etc/resolv.conf; do
        [ ! -e "$file" ] || cp -L "$file" "$1$file"
    done
}
inside() { # ROOT COMMAND...
    local root=$1
    shift
    chroot "$root" env -i PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LANG=C.UTF-8 \
        DEBIAN_FRONTEND=noninteractive CCACHE_DIR=/var/cache/ccache \
        ${CMAKE_BUILD_PARALLEL_LEVEL:+CMAKE_BUILD_PARALLEL_LEVEL="$CMAKE_BUILD_PARALLEL_LEVEL"} "$@"
}
take_away() { rm -rf --one-file-system "$1"; }

# A Debian as debootstrap leaves it, with its updates.
make_base() {
    local base=$folder/base.part
    take_away "$base"
    mkdir -p "$base/dev"
    mounted "$base"
    debootstrap --variant=minbase "$suite" "$base" "$mirror"
    umount -R "$base"
    {
        echo "deb $mirror $suite main"
        echo "deb $mirror $suite-updates main"
        [ -z "$security" ] || echo "deb $security $suite-security main"
    } >"$base/etc/apt/sources.list"
    started "$base"
    inside "$base" apt-get update -q
    inside "$base" apt-get upgrade -qy
    umount -R "$base"
    mv "$base" "$folder/base"
}
copy_base() { # NAME
    take_away "$folder/$1"
    take_away "$folder/$1.part"
    cp -a "$folder/base" "$folder/$1.part"
    mv "$folder/$1.part" "$folder/$1"
}
