#!/bin/bash
# Runs in the guest: records a host with Fibre Channel, over pairs of network devices that are connected to each other. One
# of each pair is the target's.
source "$(dirname "$0")/recording.bash"
start_target tcm_fc veth fcoe dm-multipath
mkdir -p "$target/fc"
store two
for pair in 1 2; do
    ip link add "ours$pair" address "02:00:00:00:0a:0$pair" mtu 2500 type veth peer name "its$pair" \
        address "02:00:00:00:0b:0$pair" mtu 2500
    # Names of ports are made of the devices' addresses.
    group=$target/fc/20:00:02:00:00:00:0b:0$pair/tpgt_1
    mkdir -p "$group"
    show two "$group" 2
    for_us=$group/acls/20:00:02:00:00:00:0a:0$pair/lun_2
    mkdir -p "$for_us"
    ln -s "$group/lun/lun_2" "$for_us/two"
    # The kernel's driver may fall over a frame that comes while a port is being made: both are there before the wire.
    for device in "its$pair" "ours$pair"; do echo "$device" >/sys/module/libfcoe/parameters/create_vn2vn; done
    for device in "its$pair" "ours$pair"; do ip link set "$device" up; done
    await disks "$pair"
done
gather mpatha 0
record fibre_channel "Fibre Channel: one unit over two ports, gathered into a multipath map; two ports of the target's own."
