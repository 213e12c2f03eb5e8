#!/bin/bash
# Runs in the guest: makes hosts of providers/device/scsitool/trees and records them, one file each in the results.
source "$(dirname "$0")/recording.bash"
command -v iscsid >/dev/null || { echo "needs open-iscsi"; exit 77; }

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
start_target iscsi_target_mod iscsi_tcp
portal_group=$target/iscsi/iqn.2026-01.test.tarnfi:disks/tpgt_1
mkdir -p "$portal_group"
store two
show two "$portal_group" 2
store ten
show ten "$portal_group" 10
ip addr add 192.0.2.1/32 dev lo
ip addr add 192.0.2.2/32 dev lo
mkdir -p "$portal_group/np/192.0.2.1:3260" "$portal_group/np/192.0.2.2:3260"
open_group "$portal_group"

start_initiator
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
