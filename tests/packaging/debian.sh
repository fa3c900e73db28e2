# A Debian 12 for tests, made by debootstrap from the mirror that this machine's apt has. What was
# made once is kept in build/debian and taken from there: remove it to have a new one.
#
# Needs tests/netns/support.sh.
# shellcheck shell=bash disable=SC2154

in_root() { # ROOT COMMAND...
    local dir=$1
    shift
    chroot "$dir" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 \
        DEBIAN_FRONTEND=noninteractive "$@"
}

# Makes such a root in an empty folder, with packages that satisfy these dependencies: ROOT DEPENDS
make_debian() {
    local dir=$1 depends=$2 kept mirror
    kept=$root/build/debian/$(sha256sum <<<"$depends" | cut -c1-16).tar
    if [ ! -e "$kept" ]; then
        # shellcheck disable=SC2016
        mirror=$(apt-get indextargets --format '$(REPO_URI) $(RELEASE)' 'Created-By: Packages' |
            sed -n 's/ bookworm$//p' | head -n 1)
        [ -n "$mirror" ] || fail "this machine's apt knows no mirror of bookworm"
        debootstrap --variant=minbase bookworm "$dir" "$mirror" >"$LAB_DIR/debootstrap.log" 2>&1 ||
            { tail -n 20 "$LAB_DIR/debootstrap.log" && fail "debootstrap"; }
        printf 'APT::Install-Recommends "false";\n' >"$dir/etc/apt/apt.conf.d/test"
        in_root "$dir" apt-get -qq update
        in_root "$dir" apt-get -qq -y satisfy "$depends" >"$LAB_DIR/satisfy.log" 2>&1 ||
            { tail "$LAB_DIR/satisfy.log" && fail "no packages for: $depends"; }
        in_root "$dir" apt-get clean
        mkdir -p "${kept%/*}"
        tar -C "$dir" -cf "$kept.new" .
        mv "$kept.new" "$kept"
        return
    fi
    tar -C "$dir" -xf "$kept"
}
