#!/bin/sh
# with-display.sh PROGRAM [ARGUMENT...]: runs a program on a virtual display of its own, and ends with its status.
set -eu
folder=$(mktemp -d)
server=
trap 'if [ -n "$server" ]; then kill "$server" 2>/dev/null || true; wait "$server" 2>/dev/null || true; fi; rm -rf "$folder"' EXIT
trap 'exit 143' TERM INT HUP

# The server picks a free number, and writes it into the pipe once it can be used.
mkfifo "$folder/number"
Xvfb -displayfd 3 -screen 0 1400x900x24 -nolisten tcp -ac -noreset 3>"$folder/number" 2>"$folder/log" &
server=$!
read -r number <"$folder/number" || { cat "$folder/log" >&2; exit 1; }
DISPLAY=:$number "$@"
