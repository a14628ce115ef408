# What the scripts share. The second and third line of each script are its help.
# shellcheck shell=bash

help() { sed -n '2,3s/^# //p' "$0"; }

# refuse MESSAGE: ends the script with its help.
refuse() {
    echo "$0: $1" >&2
    help >&2
    exit 2
}

# takes_nothing "$@": for scripts without arguments.
takes_nothing() {
    case ${1:-} in
    "") [ $# -eq 0 ] || refuse "it takes no arguments" ;;
    -h | --help)
        help
        exit
        ;;
    *) refuse "it does not know \"$1\"" ;;
    esac
}

# quietly LOG COMMAND...: runs the command with its output in LOG, whose end is shown when it fails.
quietly() {
    local log=$1
    shift
    mkdir -p "$(dirname "$log")"
    if ! "$@" >"$log" 2>&1; then
        echo "$* failed. Its output is in $log and ends with:" >&2
        tail -n 20 "$log" >&2
        exit 1
    fi
}

# source_time: the time of the sources in seconds, for packages that are to be made again. Says on
# standard error where git was asked and did not answer.
source_time() {
    local answer
    if [ -n "${SOURCE_DATE_EPOCH:-}" ]; then
        echo "$SOURCE_DATE_EPOCH"
    elif [ -e .git ] && answer=$(git log -1 --format=%ct 2>&1); then
        echo "$answer"
    else
        [ ! -e .git ] || echo "git does not tell the time of the commit, so CHANGELOG.md does: ${answer:-}" >&2
        date -u -d "$(sed -nE 's/^## [0-9.]+, ([0-9-]+)$/\1/p' CHANGELOG.md | head -n 1)" +%s
    fi
}

# sources FOLDER...: the files in these folders, whether or not git is there.
sources() { find "$@" -type f | sort; }
