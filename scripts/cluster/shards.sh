# shellcheck shell=bash disable=SC2154
# Sourced by the scripts beside it: what is common to running `darkroom batch`, or index, pairs or search, in shards.
#
# Every shard's results are JSON Lines of their own, whatever the format of the output, in the folder OUTPUT.shards;
# they are appended to by one process alone, so that a shared file system that holds them need not lock anything but the
# shard's own file. A shard that is started again resumes.

# Refuses: one line, exit status 2.
refuse() {
    echo "$program: $*" >&2
    exit 2
}

# A word as any POSIX shell reads it back.
quoted() {
    local word=$1
    if [[ $word =~ ^[A-Za-z0-9_./:=@%+,-]+$ ]]; then
        printf '%s' "$word"
    else
        printf "'%s'" "${word//\'/\'\\\'\'}"
    fi
}

# Words, quoted, with a space between.
command_line() {
    local separator='' word
    for word in "$@"; do
        printf '%s' "$separator"
        quoted "$word"
        separator=' '
    done
}

# check_number OPTION VALUE LOW HIGH
check_number() {
    if ! [[ $2 =~ ^[0-9]{1,9}$ ]] || ((10#$2 < $3 || 10#$2 > $4)); then
        refuse "$1: '$2' is not a whole number from $3 to $4"
    fi
}

# What stands behind `--`, for every shard. Refuses what is this script's to say.
check_batch_options() {
    local option previous=''
    for option in "${batch_options[@]}"; do
        case $work:$option in
        pairs:--threads | pairs:--threads=* | search:--threads | search:--threads=*)
            refuse "'$option' cannot be passed on: give --cpus"
            ;;
        index:--overwrite | index:--update | index:--list | index:--list=* | pairs:--overwrite)
            refuse "'$option' cannot be passed on: every shard goes on with what it has"
            ;;
        pairs:--clusters | pairs:--clusters=*)
            refuse "'$option' cannot be passed on: groups hang together by the pairs of all shards"
            ;;
        search:--json | search:--csv | search:--report | search:--report=* | search:--list | search:--list=*)
            refuse "'$option' cannot be passed on: results are CSV"
            ;;
        esac
        case $option in
        -o* | --output | --output=* | --shard | --shard=* | --resume)
            refuse "'$option' cannot be passed on: every shard has its own"
            ;;
        --jobs | --jobs=*) refuse "'$option' cannot be passed on: give --cpus" ;;
        --folders | --folders=*)
            refuse "'$option' cannot be passed on: save the pairs as a list with darkroom batch --folders A B --print-list"
            ;;
        --print-list | --help | -h | --version)
            refuse "'$option' cannot be passed on"
            ;;
        --list-format=*) list_format=("$option") ;;
        esac
        if [ "$previous" = --list-format ]; then
            list_format=(--list-format "$option")
        fi
        previous=$option
    done
}

# Refuses what cannot work, before anything is started, and sets what the functions below need.
# usage: prepare_shards LIST OUTPUT SHARDS, with work, archive, batch_options, cpus, overwrite and darkroom set
prepare_shards() {
    list=$1 output=$2 shards=$3
    list_format=()
    check_number SHARDS "$shards" 1 10000
    shards=$((10#$shards))
    check_number --cpus "$cpus" 1 1024
    cpus=$((10#$cpus))
    case $work in
    batch | index | pairs | search) ;;
    *) refuse "--work: '$work' is not batch, index, pairs or search" ;;
    esac
    if [ "$work" = search ]; then
        [ -n "$archive" ] || refuse "--work search needs --archive: what is searched"
        { [ -f "$archive" ] && [ -r "$archive" ]; } || refuse "--archive: '$archive' cannot be read"
        archive=$(absolute "$archive")
    else
        [ -z "$archive" ] || refuse "--archive goes with --work search"
    fi
    [ "$list" != - ] || refuse "a list on standard input cannot be shared out: save it as a file"
    [ -e "$list" ] || refuse "the list '$list' does not exist"
    { [ -f "$list" ] && [ -r "$list" ]; } || refuse "the list '$list' cannot be read"
    case $work:$output in
    index:* | search:*.csv) ;;
    search:*) refuse "'$output': the extension must be .csv" ;;
    *.jsonl | *.ndjson | *.csv | *.db | *.sqlite | *.sqlite3) ;;
    *) refuse "'$output': the extension must be .jsonl, .ndjson, .csv, .db, .sqlite or .sqlite3" ;;
    esac
    local folder
    folder=$(dirname -- "$output")
    [ -d "$folder" ] || refuse "'$output' cannot be written: the folder '$folder' does not exist"
    [ -w "$folder" ] || refuse "'$output' cannot be written: no permission to write into the folder '$folder'"
    [ "$overwrite" = yes ] || ! [ -e "$output" ] || refuse "'$output' exists already: remove it or give --overwrite"
    check_batch_options

    [ -n "$darkroom" ] || darkroom=darkroom
    local found
    { found=$(command -v -- "$darkroom") && [ -f "$found" ]; } ||
        refuse "the program '$darkroom' was not found: give its path with --darkroom or DARKROOM"
    darkroom=$(cd "$(dirname -- "$found")" && pwd)/$(basename -- "$found")

    # The tasks run elsewhere: paths that begin with a dash or hang on the working directory are made plain.
    list=$(absolute "$list")
    output=$(absolute "$output")
    shard_folder=$output.shards
}

absolute() {
    case $1 in
    /*) printf '%s' "$1" ;;
    *) printf '%s/%s' "$PWD" "$1" ;;
    esac
}

# Command of one shard, a line of POSIX shell. Status 1, all recorded and some failed, is no failure of the shard: the last
# step tells which. usage: shard_command I, where I may be a shell's variable such as '"$NUMBER"'
shard_command() {
    local before after part lines
    after=$(quoted "$shard_folder/")
    case $work in
    batch)
        before=$(command_line "$darkroom" batch "$list" "${batch_options[@]}" --jobs "$cpus" --resume)
        ;;
    index)
        before=$(command_line "$darkroom" index --list "$list" "${batch_options[@]}" --jobs "$cpus" --resume)
        ;;
    pairs)
        before=$(command_line "$darkroom" pairs "$list" "${batch_options[@]}" --threads "$cpus" --resume)
        ;;
    search)
        # Queries one after the other: a shard that is started again has no results, or all.
        lines=$(awk 'END { print NR }' "$list")
        before=$(command_line "$darkroom" search "$archive" "${batch_options[@]}" --threads "$cpus" --csv)
        part="$after$1-of-$shards"
        # shellcheck disable=SC2016 # awk's own
        printf 'awk -v i=%s -v n=%s -v t=%s %s %s >%s.queries && { ! [ -s %s.queries ] || %s --list %s.queries --output %s.csv; }' \
            "$1" "$shards" "$lines" "'NR > int(t * (i - 1) / n) && NR <= int(t * i / n)'" "$(quoted "$list")" "$part" \
            "$part" "$before" "$part" "$part"
        return
        ;;
    esac
    printf '%s --shard %s/%s --output %s%s-of-%s.%s || [ $? -eq 1 ]' "$before" "$1" "$shards" "$after" "$1" "$shards" \
        "$(shard_extension)"
}

shard_extension() {
    case $work in
    index) printf likeness ;;
    search) printf csv ;;
    *) printf jsonl ;;
    esac
}

# The last step, lines of POSIX shell: joins the shards, then verifies. Its status is that of the verification.
finish_command() {
    # The names of all shards together have to fit a command line: they are short where they lie.
    printf 'cd %s || exit 2\n' "$(quoted "$shard_folder")"
    if [ "$work" = search ]; then
        # One header, then the results in the order of the queries.
        # shellcheck disable=SC2016
        printf 'i=1\nhead=yes\nwhile [ "$i" -le %s ]; do\n    shard=$i-of-%s\n    if ! [ -f "$shard.queries" ] || { [ -s "$shard.queries" ] && ! [ -f "$shard.csv" ]; }; then\n        echo "shard $i has no results" >&2\n        exit 2\n    fi\n    if [ -s "$shard.queries" ]; then\n        if [ $head = yes ]; then cat "$shard.csv"; else tail -n +2 "$shard.csv"; fi\n        head=no\n    fi\n    i=$((i + 1))\ndone >merged.csv\n' \
            "$shards" "$shards"
        printf 'mv merged.csv %s || exit 2\n' "$(quoted "$output")"
        return
    fi
    # shellcheck disable=SC2016
    printf 'set --\ni=1\nwhile [ "$i" -le %s ]; do\n    set -- "$@" "$i-of-%s.%s"\n    i=$((i + 1))\ndone\n' \
        "$shards" "$shards" "$(shard_extension)"
    printf '%s "$@" || exit 2\n' "$(command_line "$darkroom" merge --overwrite "$output")"
    case $work in
    batch) printf 'exec %s\n' "$(command_line "$darkroom" verify "$list" "$output" "${list_format[@]}")" ;;
    index) printf 'exec %s\n' "$(command_line "$darkroom" verify "$output")" ;;
    pairs) printf 'exec %s\n' "$(command_line "$darkroom" verify "$output")" ;;
    esac
}
