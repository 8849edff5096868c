#!/usr/bin/env bash
# Sets up and runs the agent's main job: builds the agent, starts it inside a temporary system
# root next to the stand-in daemon (no real daemon is installed on this machine), lets the daemon
# ask about connections of real processes (alerts off: the apps are learnt) and report connections to
# the live log, then switches alerts on and answers the alerts of a new program from a script, shows
# the replies and the notifications, and quits.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)"
bin=build/release

root="$(mktemp -d /tmp/halvex-demo.XXXXXX)"
export HALVEX_ROOT="$root"
export XDG_STATE_HOME="$root/state" XDG_CONFIG_HOME="$root/config"
export HALVEX_RESOURCES="$PWD/resources"
pids=()
cleanup() {
  for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done
}
trap cleanup EXIT

# The notifications travel on the system bus; without one (a container), a private bus stands in.
if [ -z "${DBUS_SYSTEM_BUS_ADDRESS:-}" ] && [ ! -S /run/dbus/system_bus_socket ]; then
  dbus-daemon --session --address="unix:path=$root/bus" --nofork --nopidfile &
  pids+=($!)
  export DBUS_SYSTEM_BUS_ADDRESS="unix:path=$root/bus"
  for _ in $(seq 100); do [ -S "$root/bus" ] && break; sleep 0.05; done
fi

echo "== the stand-in daemon listens for the agent's notifications"
"$bin/tools/halvex-standin-daemon" --listen 4 &
listener=$!
sleep 0.3

sleep 30 &
asker=$!
pids+=("$asker")

# Started before the agent, so that it hears the agent load the connection logger.
echo "== the daemon will ask about four connections (the last one of a process that has gone), then"
echo "   report four connections to the live log once the agent has loaded the logger"
"$bin/tools/halvex-standin-daemon" --demo --pid "$asker" --wait-agent 10 --wait-logger 3 &
demo=$!
sleep 0.3

echo "== the agent starts (system root $root), reading its answers from a FIFO"
mkfifo "$root/answers"
exec 3<>"$root/answers"
"$bin/src/halvex" --headless --answers "$root/answers" >"$root/agent.out" 2>&1 &
agent=$!
pids+=("$agent")
echo "== logging on: the agent asks the daemon to report connections, and the live log fills"
echo "logging on" >&3
wait "$demo"
sleep 0.5
echo "log" >&3

echo "== alerts on; a new program asks, and a script answers its alerts"
echo "alerts on" >&3
tail -f /dev/null &
newcomer=$!
pids+=("$newcomer")
printf '%s\n' "block port" "pass network /24" "pass network 2001:db8::/32" "status" >&3
"$bin/tools/halvex-standin-daemon" --pid "$newcomer" --timeout 10 \
  --send "5 192.0.2.20 25 {pid} TCP 4 0" --send "6 192.0.2.21 443 {pid} TCP 4 0" \
  --send "7 2001:db8::7 443 {pid} TCP 6 0" --send "8 192.0.2.99 25 {pid} TCP 4 0"
sleep 0.5

echo "== plain quit (SIGTERM): the filter keeps running"
kill -TERM "$agent"
wait "$agent" || true
wait "$listener" || true

echo "== the agent's console"
cat "$root/agent.out"
echo "== the agent's log ($XDG_STATE_HOME/halvex/halvex.log)"
cat "$XDG_STATE_HOME/halvex/halvex.log"
