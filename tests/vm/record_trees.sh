#!/bin/bash
# Runs in the guest: makes the hosts of providers/device/scsitool/trees and records them, one file each in the results.
source "$(dirname "$0")/guest.bash"
set -eEu
trap 'echo "line $LINENO: $BASH_COMMAND failed"' ERR
here=$(dirname "$0")
command -v iscsid >/dev/null || { echo "needs open-iscsi"; exit 77; }
record() { "$here/record_tree.py" "$2" >"$results/$1.tree"; }

# await COMMAND …: until it succeeds, half a minute at most.
await() {
    for _ in $(seq 300); do
        ! "$@" || return 0
        sleep 0.1
    done
    echo "never: $*"
    return 1
}
# disks N: so many SCSI disks have their block devices.
disks() { [ "$(ls -d /sys/class/scsi_device/*/device/block/*/queue 2>/dev/null | wc -l)" = "$1" ]; }

record virtio "A guest whose only disk is a virtio block device: no SCSI host, no SCSI device."

modprobe scsi_debug dev_size_mb=8
await disks 1
record scsi_debug "The kernel's SCSI test driver with one disk."
rmmod scsi_debug
modprobe scsi_debug dev_size_mb=8 max_luns=2
await disks 2
echo offline >"$(ls -d /sys/class/scsi_device/*:1)/device/state"
record offline "Two disks of the kernel's SCSI test driver; the second was taken offline by hand."
rmmod scsi_debug

# A target of our own with two units on files; the second has a number of two digits.
modprobe -a target_core_mod target_core_file iscsi_target_mod iscsi_tcp configfs
[ -d /sys/kernel/config/target ] || mount -t configfs config /sys/kernel/config
target=/sys/kernel/config/target
portal_group=$target/iscsi/iqn.2026-01.test.tarnfi:disks/tpgt_1
unit() { # NAME NUMBER
    local store=$target/core/fileio_0/$1
    mkdir -p "$store"
    echo "fd_dev_name=/tmp/$1,fd_dev_size=1073741824" >"$store/control"
    truncate -s 1G "/tmp/$1"
    echo 1 >"$store/enable"
    echo "tarnfi-$1" >"$store/wwn/vpd_unit_serial"
    mkdir -p "$portal_group/lun/lun_$2"
    ln -s "$store" "$portal_group/lun/lun_$2/$1"
}
mkdir -p "$portal_group"
unit two 2
unit ten 10
ip addr add 192.0.2.1/32 dev lo
ip addr add 192.0.2.2/32 dev lo
mkdir -p "$portal_group/np/192.0.2.1:3260" "$portal_group/np/192.0.2.2:3260"
for setting in authentication=0 generate_node_acls=1 demo_mode_write_protect=0; do
    echo "${setting#*=}" >"$portal_group/attrib/${setting%=*}"
done
echo 1 >"$portal_group/enable"

mkdir -p /run/lock/iscsi /etc/iscsi
echo "InitiatorName=iqn.2026-01.test.tarnfi:guest" >/etc/iscsi/initiatorname.iscsi
iscsid
login() { # ADDRESS
    iscsiadm -m discovery -t sendtargets -p "$1" >/dev/null
    for setting in node.session.timeo.replacement_timeout node.conn[0].timeo.noop_out_interval \
        node.conn[0].timeo.noop_out_timeout; do
        iscsiadm -m node -p "$1" -o update -n "$setting" -v 1
    done
    iscsiadm -m node -p "$1" --login
}
login 192.0.2.1
await disks 2
record iscsi "An iSCSI session with two units; by name the tenth comes before the second."

# The target withdraws a unit: the kernel's record of it stays.
rm "$portal_group/lun/lun_10/ten"
rmdir "$portal_group/lun/lun_10"
record iscsi_stale_unit "The target has withdrawn the second of two units; the kernel does not know yet."

# A second path to the first unit, and the network of it goes.
login 192.0.2.2
await disks 3
ip addr del 192.0.2.2/32 dev lo
is_down() { grep -qx transport-offline /sys/class/scsi_device/*/device/state; }
await is_down
record iscsi_path_down "One unit over two iSCSI sessions: the target's second address is gone, and with it a path."
