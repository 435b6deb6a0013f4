#!/usr/bin/env bash
# The inner half of enter: mounts what the root folder needs and runs a command there as a user. It is the first
# process of a namespace of its own for mounts and for processes, so there is nothing to clean up.
#   enter-root.sh ROOT UID:GID PROJECT CACHE COMMAND...
set -euo pipefail
root=$1 owner=$2 project=$3 cache=$4
shift 4

mount -t proc proc "$root/proc"
mount --rbind /dev "$root/dev"
mount --rbind /sys "$root/sys"
mount -t tmpfs -o mode=755 tmpfs "$root/run"
mount -t tmpfs -o mode=1777 tmpfs "$root/tmp"
# Wine's server ends at once without this folder.
install -d -m 700 -o "${owner%:*}" -g "${owner#*:}" "$root/run/user/${owner%:*}"
for shared in "$project" "$cache"; do
    mkdir -p "$root$shared"
    mount --bind "$shared" "$root$shared"
done
# Not exec: the first process has to collect the processes that Wine leaves behind.
chroot --userspec="$owner" "$root" "$@"
