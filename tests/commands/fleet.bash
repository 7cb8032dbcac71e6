# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# Makes three routers, gate-1 to gate-3, for scripts that run in a sandbox. Each has its own network
# namespace and its own status tree. The bridge "fleet" joins them; on it, the script is 192.0.2.1.
# `on ROUTER COMMAND` runs a command on a router.

export PATH=/tmp/bin:/usr/sbin:/usr/bin:/sbin:/bin
routers='gate-1 gate-2 gate-3'

# make_routers VELUTILS
make_routers() {
    mkdir -p /tmp/bin /tmp/routers
    ln -s "$1" /tmp/bin/velutils
    # shellcheck disable=SC2016
    printf '#!/bin/sh\nrouter=$1\nshift\nexec nsenter --target "$(cat /tmp/routers/"$router")" --net --mount --wd="$PWD" -- "$@"\n' > /tmp/bin/on
    chmod +x /tmp/bin/on
    ip link add fleet type bridge
    ip address add 192.0.2.1/24 dev fleet
    ip link set fleet up
    mkdir -p /tmp/status
    local router number=10
    for router in $routers; do
        number=$((number + 1))
        # shellcheck disable=SC2016
        unshare --net --mount sh -c 'mount -t tmpfs status /tmp/status && echo $$ > "$1" && exec sleep 3600' \
            sh "/tmp/routers/$router" &
        until [ -s "/tmp/routers/$router" ]; do sleep 0.01; done
        ip link add "$router" type veth peer name eth0 netns "$(cat "/tmp/routers/$router")"
        ip link set "$router" master fleet up
        on "$router" ip address add "192.0.2.$number/24" dev eth0
        on "$router" ip link set eth0 up
    done
}
