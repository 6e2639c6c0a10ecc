#!/usr/bin/env bash
# A still desktop sends next to nothing, yet a film of it lasts for as long as it was watched, and
# every kind of film holds all pictures: film.sh ORVEL-SCREEN ORVEL-UNPACK
set -euo pipefail

folder=$(mktemp -d)
trap 'kill "$server"; rm -r "$folder"' EXIT
mkfifo "$folder/number"
Xvfb -displayfd 1 -screen 0 640x480x24 -nolisten tcp >"$folder/number" 2>/dev/null &
server=$!
DISPLAY=:$(head -n 1 "$folder/number")
export DISPLAY

probe() {
    ffprobe -loglevel error -count_frames -show_entries "$1" -of csv=p=0 "$film"
}

for film in "$folder"/film.{mp4,mkv,h264}; do
    {
        echo '{"t":"start"}'
        for ((waits = 0; waits < 1200; ++waits)); do
            grep -qs first "$film.txt" && break
            sleep 0.05
        done
        sleep 3
    } | "$1" stream | "$2" "$film" >"$film.txt"
    pictures=$(probe stream=nb_read_frames) seconds=$(probe format=duration)
    echo "$(basename "$film"): $pictures pictures, $seconds s"
    grep -x "$pictures pictures" "$film.txt"
    [ "${film##*.}" = h264 ] || [ "${seconds%.*}" -ge 3 ]
done
