# Sourced by the scripts that record hosts: a target of the guest's own, and the record.
source "$(dirname "$0")/guest.bash"
set -eEu
trap 'echo "line $LINENO: $BASH_COMMAND failed"' ERR
here=$(dirname "$0")
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

target=/sys/kernel/config/target
# start_target MODULE …
start_target() {
    modprobe -a target_core_mod target_core_file configfs "$@"
    [ -d "$target" ] || mount -t configfs config /sys/kernel/config
}
# store NAME: a unit of 1 GiB on a file, which portal groups may show.
store() {
    local store=$target/core/fileio_0/$1
    mkdir -p "$store"
    echo "fd_dev_name=/tmp/$1,fd_dev_size=1073741824" >"$store/control"
    truncate -s 1G "/tmp/$1"
    echo 1 >"$store/enable"
    echo "tarnfi-$1" >"$store/wwn/vpd_unit_serial"
}
# show NAME GROUP NUMBER
show() {
    mkdir -p "$2/lun/lun_$3"
    ln -s "$target/core/fileio_0/$1" "$2/lun/lun_$3/$1"
}
# open_group GROUP: of iSCSI, to everybody.
open_group() {
    local setting
    for setting in authentication=0 generate_node_acls=1 demo_mode_write_protect=0; do
        echo "${setting#*=}" >"$1/attrib/${setting%=*}"
    done
    echo 1 >"$1/enable"
}
start_initiator() {
    command -v iscsid >/dev/null || { echo "needs open-iscsi"; exit 77; }
    mkdir -p /run/lock/iscsi /etc/iscsi
    echo "InitiatorName=iqn.2026-01.test.tarnfi:guest" >/etc/iscsi/initiatorname.iscsi
    iscsid
}
# gather NAME HANDLER: the disks, all paths of one unit, into a multipath map, each in a group of its own, the first one
# first. HANDLER: the table's words for it.
gather() {
    command -v dmsetup >/dev/null || { echo "needs dmsetup"; exit 77; }
    local paths= count=0 number size wwid
    for number in /sys/class/scsi_device/*/device/block/*/dev; do
        paths+=" round-robin 0 1 1 $(cat "$number") 1"
        count=$((count + 1))
        size=$(cat "${number%dev}size")
        wwid=$(cat "${number%/block/*}/wwid")
    done
    dmsetup create "$1" --noudevsync --uuid "mpath-3${wwid#naa.}" --table "0 $size multipath 0 $2 $count 1$paths"
}
