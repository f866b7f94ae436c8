#!/usr/bin/env bash
# Shows what the script "run" does when something is missing or goes wrong, and that it leaves
# nothing behind. It works on a copy whose tools are stand-ins; the X server and the sound server
# are real.
set -u
root=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/tree/packaging" "$work/bin" "$work/tmp"
cp "$root/run" "$work/tree/"
cp "$root/packaging/packages.txt" "$work/tree/packaging/"
failures=0

# stand_in NAME SCRIPT: a command that comes before the real one.
stand_in() {
    printf '#!/bin/bash\n%s\n' "$2" >"$work/bin/$1"
    chmod +x "$work/bin/$1"
}

# only_these_tools: a PATH with what the script itself needs and nothing else.
only_these_tools() {
    rm -rf "$work/only"
    mkdir "$work/only"
    local tool
    for tool in bash cat comm dirname grep head id mkdir mktemp nproc rm sed sleep sort setpriv; do
        ln -s "$(command -v "$tool")" "$work/only/$tool"
    done
}

# expect NAME STATUS TEXT COMMAND...: the command ends with the status and writes the text.
expect() {
    local name=$1 status=$2 text=$3 output
    shift 3
    output=$("$@" 2>&1)
    local got=$?
    if [ "$got" -ne "$status" ] || ! grep -qF -- "$text" <<<"$output"; then
        printf 'FAIL %s: status %s, output:\n%s\n' "$name" "$got" "$output"
        failures=$((failures + 1))
    else
        echo "PASS $name"
    fi
}

all_installed='shift; for p in "$@"; do [ "$p" = -f ] || echo "installed $p"; done'
path=$work/bin:$PATH
run=$work/tree/run

expect help_listsTheCommands 0 'bench [PATTERN]' "$run" help
expect noCommand_showsTheHelp 0 'Usage: ./run' "$run"
expect help_listsTheWall 0 'wall [N]' "$run" help
expect wallOfNone_isAUsageError 2 "there is no wall of '0' streams" "$run" wall 0
expect wallOfTooMany_isAUsageError 2 "there is no wall of '65' streams" "$run" wall 65
expect unknownCommand_isAUsageError 2 "unknown command 'frobnicate'" "$run" frobnicate

only_these_tools
expect noDebian_saysWhatToInstall 1 'run: this is no Debian system' env PATH="$work/only" "$run" test

stand_in dpkg-query 'echo installed nothing'
stand_in id 'echo 1000'
ln -s "$work/bin/dpkg-query" "$work/only/dpkg-query"
rm "$work/only/id" && ln -s "$work/bin/id" "$work/only/id"
expect noRootNoSudo_saysSo 1 "run: can't install packages: not root, and there is no sudo" \
    env PATH="$work/only" "$run" test

stand_in id 'echo 0'
stand_in apt-get 'echo "E: no network"; exit 100'
expect aptFails_isOneLine 1 'run: apt-get update failed, see build/log/apt-update.log' \
    env PATH="$path" "$run" test

stand_in sudo 'echo "sudo $*" >>'"$work"'/sudo.log; exit 1'
stand_in id 'echo 1000'
expect noRootButSudo_installsThroughIt 1 'apt-get update failed' env PATH="$path" "$run" test
grep -q 'sudo apt-get update' "$work/sudo.log" || { echo "FAIL sudo was not called"; failures=$((failures + 1)); }

stand_in dpkg-query "$all_installed"
ln -sf "$work/bin/dpkg-query" "$work/only/dpkg-query"
expect toolMissing_isNamed 1 'run: cmake is missing' env PATH="$work/only" "$run" bench

stand_in cmake 'echo "CMake Error: nothing here"; exit 1'
expect configuringFails_isOneLine 1 'run: configuring failed, see build/log/configure-release.log' \
    env PATH="$path" "$run" bench

stand_in cmake '[ "$1" != --build ] || { echo "x.cpp:1: error: expected"; exit 1; }'
expect buildFails_isOneLine 1 'run: the build failed, see build/log/build-dev.log' \
    env PATH="$path" "$run" test
expect buildFails_showsTheError 1 'x.cpp:1: error: expected' env PATH="$path" "$run" test
expect unknownPreset_isAUsageError 2 "there is no test preset 'nonsense'" env PATH="$path" "$run" test nonsense

# A whole run on stand-ins, ended by signals: the servers must end with it.
stand_in cmake ''
stand_in ctest 'echo ready >'"$work"'/session; sleep 60'
for signal in INT TERM KILL; do
    rm -f "$work/session"
    # Job control gives the script the signal dispositions of a command typed at a prompt.
    set -m
    env PATH="$path" TMPDIR="$work/tmp" "$run" test >"$work/log" 2>&1 &
    pid=$!
    set +m
    for ((i = 0; i < 200; i++)); do [ -s "$work/session" ] && break; sleep 0.1; done
    # Two displays, one sound server.
    servers=$(pgrep -P "$pid" 'Xvfb|pulseaudio')
    kill -s "$signal" "$pid"
    wait "$pid" 2>/dev/null
    # shellcheck disable=SC2086 # They are several.
    for ((i = 0; i < 100; i++)); do kill -0 $servers 2>/dev/null || break; sleep 0.1; done
    # shellcheck disable=SC2086
    if [ "$(wc -w <<<"$servers")" -eq 3 ] && ! kill -0 $servers 2>/dev/null; then
        echo "PASS signal${signal}_endsTheServers"
    else
        echo "FAIL signal${signal}_endsTheServers:" $servers
        cat "$work/log"
        failures=$((failures + 1))
    fi
    if [ "$signal" != KILL ] && [ -n "$(ls -A "$work/tmp")" ]; then
        echo "FAIL signal${signal}_removesItsFolder"
        failures=$((failures + 1))
    fi
done

[ "$failures" -eq 0 ]
