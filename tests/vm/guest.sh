#!/bin/bash
# Runs in the guest: the tests that need a kernel or devices of their own, or those whose names match the given word.
source "$(dirname "$0")/guest.bash"

modprobe loop
ctest --test-dir "$TARNFI_GUEST_BUILD" --output-junit "$results/rings.xml" --output-on-failure --timeout 300 \
    -R "${words[0]:-^(scsitool_vm_test|road/(jfs|reiserfs)_test)/|^road_plugin/.*/(jfs|reiserfs)}"
