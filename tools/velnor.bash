# velnor.bash - bash completion for the velnor program: its commands and
# their subcommands, each one's options, and file names by what an argument
# takes (.dat record files, .fid definitions, .cmp archives, .csv input,
# .db databases).  Commands and options are read from the program's own
# --help, so they follow the program.

_velnor_help_words() {
    # The subcommands or options listed by `velnor WORDS... --help`.
    local what=$1; shift
    "${_velnor_prog:-velnor}" "$@" --help 2>/dev/null | awk -v what="$what" '
        /^Subcommands:/ { sub_ = 1; next }
        /^[A-Z][a-z]*:/ { sub_ = 0 }
        what == "commands" && sub_ && /^  [a-z]/ { print $1 }
        what == "options" { for (i = 1; i <= NF; i++) if ($i ~ /^--?[a-z]/) { split($i, a, ","); for (j in a) if (a[j] ~ /^--[a-z]/) print a[j] } }' | sort -u
}

_velnor() {
    local cur prev
    cur=${COMP_WORDS[COMP_CWORD]}
    prev=${COMP_WORDS[COMP_CWORD-1]}
    _velnor_prog=${COMP_WORDS[0]}
    # The command words typed so far (not options, not file names).
    local path=() w i
    for ((i = 1; i < COMP_CWORD; i++)); do
        w=${COMP_WORDS[i]}
        [[ $w == -* ]] && continue
        if _velnor_help_words commands "${path[@]}" | grep -qx -- "$w"; then path+=("$w"); fi
    done
    case $prev in
        --fid) _velnor_files fid; return ;;
        --csv) _velnor_files csv; return ;;
        --sqlite) _velnor_files db; return ;;
        --index) _velnor_files 'idx|hsh|itx'; return ;;
        --target|--tmpdir) COMPREPLY=($(compgen -d -- "$cur")); return ;;
        --network) COMPREPLY=($(compgen -W "SINGLE DOS MULTI IBMNET MSNET NETWARE PCMOS PCMOS-S PCMOS-M PCMOS-N MSS" -- "$cur")); return ;;
        --format) COMPREPLY=($(compgen -W "text csv json sql" -- "$cur")); return ;;
        --encoding) COMPREPLY=($(compgen -W "cp1252 cp437 latin1 utf-8" -- "$cur")); return ;;
    esac
    if [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W "$(_velnor_help_words options "${path[@]}")" -- "$cur"))
        return
    fi
    local subs
    subs=$(_velnor_help_words commands "${path[@]}")
    if [[ -n $subs ]]; then
        COMPREPLY=($(compgen -W "$subs" -- "$cur"))
        return
    fi
    case ${path[0]} in
        archive) _velnor_files cmp ;;
        fid) _velnor_files 'fid|txt' ;;
        keyword) _velnor_files dat ;;
        *) _velnor_files dat ;;
    esac
}

# File names ending in one of the extensions (a|b), and folders.
_velnor_files() {
    local cur=${COMP_WORDS[COMP_CWORD]}
    COMPREPLY=($(compgen -d -- "$cur") $(compgen -f -X "!*.@($1)" -- "$cur"))
}

complete -o filenames -F _velnor velnor
