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
    "") [ $# -eq 0 ] || refuse "takes no arguments" ;;
    -h | --help)
        help
        exit
        ;;
    *) refuse "unknown argument \"$1\"" ;;
    esac
}

# quietly LOG COMMAND...: runs the command with its output in LOG, whose end is shown when it fails.
quietly() {
    local log=$1
    shift
    if ! { mkdir -p "$(dirname "$log")" && touch "$log"; } 2>/dev/null; then
        echo "$0: $log can't be written. If $(dirname "$log") belongs to another user, delete it or run this as that user." >&2
        exit 1
    fi
    if ! "$@" >"$log" 2>&1; then
        echo "$* failed. Its output is in $log and ends with:" >&2
        tail -n 20 "$log" >&2
        exit 1
    fi
}

# source_time: the date of the newest version in CHANGELOG.md, in seconds. Packages carry it, so that
# everybody who makes them gets the same bytes, even from an archive of the sources.
source_time() { date -u -d "$(sed -nE 's/^## [0-9.]+, ([0-9-]+)$/\1/p;T;q' CHANGELOG.md)" +%s; }

# sources FOLDER...: the files in these folders, with or without git.
sources() { find "$@" -type f | sort; }

# all_files: all of the project's files, with or without git.
all_files() { find . \( -path ./build -o -path ./.git \) -prune -o -type f -print | sort; }
