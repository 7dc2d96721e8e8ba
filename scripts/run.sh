#!/usr/bin/env bash
# Runs kvx5130. Called by `make run` as: scripts/run.sh <bindir> [<link>]
#   no link: starts the simulator kvx5130-sim on a pseudo-terminal, connects the
#            program to it and stops the simulator when the program ends;
#   a link:  connects to that meter (serial:/dev/ttyUSB0@9600, gpib:0:7, ...).
# Extra arguments after the link go to kvx5130 (e.g. --start, --folder DIR).
set -euo pipefail

bindir=${1:?usage: run.sh <bindir> [<link>] [kvx5130 options...]}
link=${2:-}
shift $(( $# >= 2 ? 2 : 1 ))

app="$bindir/kvx5130"
sim="$bindir/kvx5130-sim"

if [ -n "$link" ]; then
  exec "$app" --link "$link" "$@"
fi

[ -x "$sim" ] || { echo "run.sh: $sim is not built" >&2; exit 1; }

workdir=$(mktemp -d "${TMPDIR:-/tmp}/kvx5130-run.XXXXXX")
sim_pid=
cleanup() {
  if [ -n "$sim_pid" ] && kill -0 "$sim_pid" 2>/dev/null; then
    kill -TERM "$sim_pid" 2>/dev/null || true
    wait "$sim_pid" 2>/dev/null || true
  fi
  rm -rf "$workdir"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

# The simulator's first line on standard output is the device to connect to.
mkfifo "$workdir/where"
"$sim" --pty --log "$workdir/commands.log" >"$workdir/where" &
sim_pid=$!
device=
if ! read -r -t 10 device <"$workdir/where" || [ -z "$device" ]; then
  echo "run.sh: the simulator did not report its device" >&2
  exit 1
fi
echo "Simulated KVX-5130 on $device (commands logged to $workdir/commands.log while it runs)"

if [ -x "$app" ]; then
  "$app" --link "serial:$device" "$@"
  exit $?
fi

# Without the program, at least show that the simulated meter answers.
echo "run.sh: $app is not built; asking the simulated meter who it is"
exec 3<>"$device"
printf '*IDN?\r' >&3
reply=
read -r -t 5 reply <&3 || true
exec 3<&-
echo "*IDN? -> ${reply:-(no reply)}"
