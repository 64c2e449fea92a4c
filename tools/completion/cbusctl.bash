# SPDX-License-Identifier: MIT

# Completion of cbusctl for bash: source it, or install it as "cbusctl" in the folder of bash-completion.

# Fills COMPREPLY with those of the words that begin with the first one. Not compgen -W, which would run what stands
# in $(...) in a name that a client provides.
_cbusctl_offer() {
    local cur=$1 word
    shift
    for word in "$@"; do
        [[ $word != "$cur"* ]] || COMPREPLY+=("$word")
    done
}

# The names or filters ("name", "filter") of this moment. A bus that cannot be reached, or does not answer within a
# second, has none. Only those of plain characters: the shell would read the others in its own way.
_cbusctl_offer_listed() {
    local cur=$1 bus=$2 kinds=$3 word
    local program=${COMP_WORDS[0]}
    while IFS= read -r word; do
        _cbusctl_offer "$cur" "$word"
    done < <(timeout 1 "$program" ${bus:+-a "$bus"} list 2>/dev/null </dev/null |
        grep -E "^($kinds) " | cut -d' ' -f2 | grep -xE '[0-9A-Za-z._-]+' | LC_ALL=C sort -u)
}

_cbusctl_offer_options() {
    local cur=$1 verb=$2
    _cbusctl_offer "$cur" --address --json --help
    case $verb in
        '') _cbusctl_offer "$cur" --version ;;
        call | send) _cbusctl_offer "$cur" --hex ;;
        listen | monitor) _cbusctl_offer "$cur" --hex --count --timeout ;;
        wait-for) _cbusctl_offer "$cur" --timeout ;;
    esac
}

_cbusctl() {
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]}
    local verb='' bus='' given=0 i
    COMPREPLY=()
    # "=" is a word of its own where it breaks words.
    [[ $cur != '=' ]] || cur=''
    [[ $prev != '=' ]] || prev=${COMP_WORDS[COMP_CWORD-2]}

    for ((i = 1; i < COMP_CWORD; ++i)); do
        case ${COMP_WORDS[i]} in
            -a | --address)
                [[ ${COMP_WORDS[i+1]} != '=' ]] || ((++i))
                ((++i < COMP_CWORD)) && bus=${COMP_WORDS[i]}
                ;;
            -n | --count | -t | --timeout)
                [[ ${COMP_WORDS[i+1]} != '=' ]] || ((++i))
                ((++i))
                ;;
            -*) ;;
            *) if [[ -z $verb ]]; then verb=${COMP_WORDS[i]}; else ((++given)); fi ;;
        esac
    done

    case $prev in
        -a | --address | -n | --count | -t | --timeout) return 0 ;;
    esac
    case $verb:$cur in
        *:-*) _cbusctl_offer_options "$cur" "$verb" ;;
        :*) _cbusctl_offer "$cur" status list call send listen monitor wait-for ;;
        call:* | wait-for:*) ((given > 0)) || _cbusctl_offer_listed "$cur" "$bus" name ;;
        send:*) ((given > 0)) || _cbusctl_offer_listed "$cur" "$bus" filter ;;
        listen:*) _cbusctl_offer_listed "$cur" "$bus" 'name|filter' ;;
        monitor:*) ((given > 0)) || _cbusctl_offer_listed "$cur" "$bus" 'name|filter' ;;
    esac
}

complete -F _cbusctl cbusctl
