#!/bin/bash
# Runs in the guest: records a host with a path to a port of the target that stands by.
source "$(dirname "$0")/recording.bash"
start_target iscsi_target_mod iscsi_tcp scsi_dh_alua dm-multipath
store two
ports=$target/core/fileio_0/two/alua/standby
mkdir -p "$ports"
echo 1 >"$ports/tg_pt_gp_id"
name=$target/iscsi/iqn.2026-01.test.tarnfi:disks
for number in 1 2; do
    ip addr add "192.0.2.$number/32" dev lo
    group=$name/tpgt_$number
    mkdir -p "$group"
    show two "$group" 2
    mkdir -p "$group/np/192.0.2.$number:3260"
    open_group "$group"
done
echo standby >"$name/tpgt_2/lun/lun_2/alua_tg_pt_gp"
echo 2 >"$ports/alua_access_state"

start_initiator
for number in 1 2; do
    iscsiadm -m discovery -t sendtargets -p "192.0.2.$number" >/dev/null
    iscsiadm -m node -p "192.0.2.$number" --login
    await disks "$number"
done
# A path in its good state is the first group's: the map has no reason to wake the other one.
gather mpatha "1 alua"
states() { [ "$(cat /sys/class/scsi_device/*/device/access_state | xargs)" = "$*" ]; }
await states active/optimized standby
record iscsi_ghost_path "One unit over two iSCSI sessions, gathered into a multipath map; the second path stands by."
