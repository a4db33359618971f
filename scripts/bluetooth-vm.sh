#!/usr/bin/env bash
# The radio against the real Bluetooth daemon: boots Debian's kernel in qemu over a read-only view of
# this machine, with a virtual controller, and runs tests/Linux/Bluetooth/bluetooth-guest.sh in it, with and
# without advertisement monitors. No Bluetooth hardware, no root, no KVM; about five minutes.
#
# usage: scripts/bluetooth-vm.sh RADIO_PROBE        a build's tests/Linux/RadioProbe
# Needs (apt): bluez busybox-static cpio kmod qemu-system-x86
set -euo pipefail
cd "$(dirname "$0")/.."
probe=$(realpath "${1:?usage: scripts/bluetooth-vm.sh RADIO_PROBE}")
root=$PWD
work=$root/build/bluetooth-vm
mkdir -p "$work"

modules=(virtio_pci 9pnet_virtio 9p overlay af_alg algif_hash algif_skcipher cmac ecb bluetooth
  hci_vhci)

make_kernel() {
  local package version number=100 file
  package=$(apt-cache depends linux-image-amd64 | awk '/Depends: linux-image/ {print $2; exit}')
  (cd "$work" && apt-get download -qq "$package" && dpkg-deb -x "$package"_*.deb kernel)
  rm -f "$work/$package"_*.deb
  version=$(ls "$work/kernel/lib/modules")
  depmod -b "$work/kernel" "$version"
  rm -rf "$work/initrd.d"
  mkdir -p "$work/initrd.d/bin" "$work/initrd.d/modules"
  cp /bin/busybox "$work/initrd.d/bin/"
  for module in "${modules[@]}"; do
    modprobe -S "$version" -d "$work/kernel" --show-depends "$module"
  done | awk '/^insmod/ && !seen[$2]++ {print $2}' | while read -r file; do
    cp "$file" "$work/initrd.d/modules/$number-$(basename "$file")"
    number=$((number + 1))
  done
  cat >"$work/initrd.d/init" <<'INIT'
#!/bin/busybox sh
/bin/busybox --install -s /bin
export PATH=/bin
mkdir -p /proc /sys /dev /host /top /root
mount -t proc proc /proc
mount -t sysfs sys /sys
mount -t devtmpfs dev /dev
for module in /modules/*.ko; do insmod "$module" || echo "no module $module"; done
mount -t 9p -o trans=virtio,version=9p2000.L,ro,msize=524288,cache=loose host /host
mount -t tmpfs top /top
mkdir /top/upper /top/work
mount -t overlay -o lowerdir=/host,upperdir=/top/upper,workdir=/top/work root /root
mount -t proc proc /root/proc
mount -t sysfs sys /root/sys
mount -t devtmpfs dev /root/dev
mkdir -p /root/dev/shm
for folder in run tmp dev/shm; do mount -t tmpfs tmp "/root/$folder"; done
ln -sf /proc/self/fd /root/dev/fd
ip link set lo up
guest=$(sed -n 's/.*guest=\([^ ]*\).*/\1/p' /proc/cmdline)
echo "@@begin"
chroot /root /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root bash "$guest" </dev/null 2>&1
echo "@@status=$?"
poweroff -f
INIT
  chmod +x "$work/initrd.d/init"
  (cd "$work/initrd.d" && find . | cpio -o -H newc --quiet | gzip -1 >"$work/initrd")
  cp "$work"/kernel/boot/vmlinuz-* "$work/vmlinuz"
  rm -rf "$work/kernel" "$work/initrd.d"
}

run_guest() {  # run_guest COMMAND
  printf '%s\n' "$1" >"$work/guest.sh"
  timeout 600 qemu-system-x86_64 -accel tcg,thread=multi -cpu max -smp 2 -m 1024 -nographic \
    -no-reboot -nodefaults -serial stdio -monitor none -kernel "$work/vmlinuz" \
    -initrd "$work/initrd" \
    -append "console=ttyS0 quiet panic=-1 random.trust_cpu=on guest=$work/guest.sh" \
    -fsdev local,id=host,path=/,security_model=none,readonly=on,multidevs=remap \
    -device virtio-9p-pci,fsdev=host,mount_tag=host </dev/null | tr -d '\r' >"$work/log" || true
  sed -n '/^@@begin/,/^@@status/p' "$work/log" | sed '1d;$d'
  grep -q '^@@status=0' "$work/log"
}

[ -e "$work/vmlinuz" ] || make_kernel
guest="$root/tests/Linux/Bluetooth/bluetooth-guest.sh '$probe'"
failed=0
printf '\n# With advertisement monitors\n'
run_guest "bash $guest -E" || failed=1
printf '\n# Without\n'
run_guest "bash $guest" || failed=1
exit "$failed"
