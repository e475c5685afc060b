# Entering and leaving a chroot with /proc, /dev and /sys from the host; what
# was mounted is unmounted again when the calling script ends, however it ends.
# Sourced by tools/release.sh and tools/release/prove-bare.sh, which also
# share the bare Debian 11 made here.

chroot_mounts=()

chroot_unmount_all() {
  local i
  for ((i = ${#chroot_mounts[@]} - 1; i >= 0; i--)); do
    umount -l "${chroot_mounts[$i]}" 2>/dev/null || true
  done
  chroot_mounts=()
}
trap chroot_unmount_all EXIT

chroot_also_unmount() { chroot_mounts+=("$1"); }

chroot_enter() {
  local dir="$1"
  mkdir -p "$dir/proc" "$dir/dev" "$dir/sys"
  mount -t proc proc "$dir/proc" && chroot_also_unmount "$dir/proc"
  mount --rbind /dev "$dir/dev" && mount --make-rslave "$dir/dev" && chroot_also_unmount "$dir/dev"
  mount --rbind /sys "$dir/sys" && mount --make-rslave "$dir/sys" && chroot_also_unmount "$dir/sys"
  # Name resolution for apt inside the root.
  cp -L /etc/resolv.conf "$dir/etc/resolv.conf" 2>/dev/null || true
}

chroot_leave() { chroot_unmount_all; }

# The bare Debian 11 (debootstrap minbase, nothing added) that the release is
# proven in, made on the first run only: make_bare_root CACHE MIRROR; its
# path is $1/bullseye-bare-minbase.
make_bare_root() {
  local cache="$1" mirror="$2"
  local bare="$cache/bullseye-bare-minbase"
  mkdir -p "$cache"
  # Another run making it (CI prepares it beside the tests) is waited for.
  exec 7>"$cache/.bare-root.lock"
  flock 7
  if [ ! -f "$bare/.complete" ]; then
    echo "== bare Debian 11 (first run only): $bare"
    rm -rf "$bare.partial"
    debootstrap --variant=minbase bullseye "$bare.partial" "$mirror" \
      >"$cache/debootstrap-bare.log" 2>&1 ||
      { tail -20 "$cache/debootstrap-bare.log"; exec 7>&-; return 1; }
    touch "$bare.partial/.complete"
    mv "$bare.partial" "$bare"
  fi
  exec 7>&-
}
