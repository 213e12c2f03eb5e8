# Sourced by a script that is the guest's first program: its output goes to the results, and the guest ends with it.
results=/run/tarnfi-guest
export PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 TARNFI_TEST_GUEST=1
exec >"$results/log" 2>&1
cut -d' ' -f1 /proc/uptime >"$results/booted"
trap 'echo $? >"$results/status"; sync; busybox poweroff -f' EXIT
mapfile -t words <"$results/words"
hostname guest
ip link set lo up
