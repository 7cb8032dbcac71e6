# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# Functions for scripts that play the router around the example daemon: waiting for a condition, and
# a network peer. The script that sources this has a function `fail MESSAGE`, which exits.

# wait_for CONDITION...: waits until the condition holds, at most `patience` seconds (10).
wait_for() {
    local deadline=$((SECONDS + ${patience:-10}))
    while [ $SECONDS -lt $deadline ]; do
        if eval "$*" 2>/dev/null; then return; fi
        sleep 0.02
    done
    fail "never came true: $*"
}

# start_peer: starts a process in its own network namespace and sets $peer to its id. The caller
# kills it.
start_peer() {
    unshare --net sleep 3600 &
    peer=$!
    wait_for "[ \"\$(readlink /proc/$peer/ns/net)\" != \"\$(readlink /proc/self/ns/net)\" ]"
}

# at_peer COMMAND...: runs a command in the peer's network namespace.
at_peer() { nsenter --target "$peer" --net -- "$@"; }
