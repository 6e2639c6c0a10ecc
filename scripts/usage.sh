# Sourced by each script: what they have in common. The comment at a script's top is what it answers
# to --help. The script goes on in the repository's root.

script=$(realpath "$0")
cd "$(dirname "$script")/.."

# What the script can't do: `refuse WORD`.
refuse() {
    echo "${script##*/}: what is '$1'? --help says what there is." >&2
    exit 2
}

# Refuses the first word unless it is one of the others.
expect() {
    local word=$1
    shift
    [[ " $* " == *" $word "* ]] || refuse "$word"
}

# The names of a folder's programs: `programs bench Bench` says stream for bench/StreamBench.cpp.
programs() {
    basename -as "$2.cpp" "$1"/*"$2.cpp" | tr '[:upper:]' '[:lower:]'
}

if [[ ${1:-} == --help ]]; then
    sed -n '2,/^[^#]/s/^# \?//p' "$script"
    exit
fi
