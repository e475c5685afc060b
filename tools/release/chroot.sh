# Entering and leaving a chroot with /proc, /dev and /sys from the host; what
# was mounted is unmounted again when the calling script ends, however it ends.
# Sourced by tools/release.sh and tools/release/prove-bare.sh.

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
