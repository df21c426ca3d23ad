#!/usr/bin/env bash
# Installs the Debian packages into a copy of this machine's files, which a layer over them makes, and gives it up afterwards.
#
# packages_test.sh FOLDER_OF_PACKAGES
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
top=$(cd "$here/../.." && pwd)

skip() {
  echo "skipped: $*"
  exit 77
}

if [ "${2-}" != "in a namespace" ]; then
  packages=$(cd "$1" && pwd)
  [ "$(id -u)" -eq 0 ] || skip "only root can install packages; run script/package --test as root"
  unshare --mount true 2>/dev/null || skip "this machine lets nobody make a mount namespace"
  if dpkg-query -W -f='${db:Status-Status}\n' libqor-api-trace2 2>/dev/null | grep -qx installed; then
    skip "the packages are installed on this machine"
  fi
  exec unshare --mount "$0" "$packages" "in a namespace"
fi

# The mounts end with the namespace.
layer=$(mktemp -d)
give_up() {
  umount --recursive --lazy "$layer" 2>/dev/null || true
  rmdir "$layer"
}
trap give_up EXIT
mount -t tmpfs tmpfs "$layer"
mkdir "$layer/changes" "$layer/work" "$layer/root"
mount -t overlay overlay -o "lowerdir=/,upperdir=$layer/changes,workdir=$layer/work" "$layer/root" 2>/dev/null ||
  skip "this machine can't lay one folder over another"
root=$layer/root
mount -t proc proc "$root/proc"
mount --rbind /dev "$root/dev"
mount -t tmpfs tmpfs "$root/tmp"
mkdir "$root/tmp/packages" "$root/tmp/consumer"
cp "$1"/*.deb "$root/tmp/packages"
rm -f "$root"/tmp/packages/*-dbgsym_*.deb
cp "$top"/tests/house/consumer/client.{c,cpp} "$top"/tests/end_to_end/hardware_library/tiny_hardware.{c,h} \
  "$here/installed.sh" "$here/client.py" "$here/CMakeLists.txt" "$root/tmp/consumer"
# Nothing may come out of the tree itself.
mount -t tmpfs tmpfs "$root$top"

files_of_layer() {
  # What dpkg and the loader keep for themselves is no rest of a package, nor are the folders that were there before.
  (cd "$layer/changes" && find . ! -type d ! -path './var/lib/dpkg/*' ! -path './var/log/*' ! -path './var/cache/*' \
    ! -path './etc/ld.so.cache' -printf '%P\n' | sort)
}

in_root() {
  env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/tmp LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive chroot "$root" "$@"
}

in_root /tmp/consumer/installed.sh
rest=$(files_of_layer)
[ -z "$rest" ] || { printf 'left after the packages were removed:\n%s\n' "$rest" >&2; exit 1; }
left=$(cd "$layer/changes" && find . -type d \( -name '*qor*' \) -print)
[ -z "$left" ] || { printf 'folders left after the packages were removed:\n%s\n' "$left" >&2; exit 1; }
echo "installed, used and removed: $(find "$root/tmp/packages" -name '*.deb' | wc -l) packages"
