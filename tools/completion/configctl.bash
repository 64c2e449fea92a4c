# SPDX-License-Identifier: MIT

# Completion of configctl for bash: source it, or install it as "configctl" in the folder of bash-completion.

# Fills COMPREPLY with those of the words that begin with the first one. Not compgen -W, which would run what stands
# in $(...) in a key that somebody wrote.
_configctl_offer() {
    local cur=$1 word
    shift
    for word in "$@"; do
        [[ $word != "$cur"* ]] || COMPREPLY+=("$word")
    done
}

_configctl_offer_files() {
    local cur=$1 name
    while IFS= read -r name; do
        COMPREPLY+=("$name")
    done < <(compgen -f -- "$cur")
    compopt -o filenames 2>/dev/null
}

# The keys of this moment. A database that cannot be reached, or does not answer within a second, has none. Only keys
# of plain characters: the shell would read the others in its own way.
_configctl_offer_keys() {
    local cur=$1 bus=$2 key
    local program=${COMP_WORDS[0]}
    while IFS= read -r key; do
        _configctl_offer "$cur" "$key"
    done < <(timeout 1 "$program" ${bus:+-a "$bus"} list 2>/dev/null </dev/null |
        cut -d' ' -f1 | grep -xE '[0-9A-Za-z._-]+')
}

_configctl_offer_options() {
    local cur=$1 verb=$2
    _configctl_offer "$cur" --address --json --help
    case $verb in
        '') _configctl_offer "$cur" --version ;;
        set) _configctl_offer "$cur" --type ;;
        watch) _configctl_offer "$cur" --count --timeout ;;
        factory-reset) _configctl_offer "$cur" --yes ;;
    esac
}

_configctl() {
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
            --type | -n | --count | -t | --timeout)
                [[ ${COMP_WORDS[i+1]} != '=' ]] || ((++i))
                ((++i))
                ;;
            -*) ;;
            *) if [[ -z $verb ]]; then verb=${COMP_WORDS[i]}; else ((++given)); fi ;;
        esac
    done

    case $prev in
        --type) _configctl_offer "$cur" int string binary; return 0 ;;
        -a | --address | -n | --count | -t | --timeout) return 0 ;;
    esac
    case $verb:$cur in
        *:-*) _configctl_offer_options "$cur" "$verb" ;;
        :*) _configctl_offer "$cur" get set delete list watch export import stat sync factory-reset ;;
        get:* | delete:* | stat:* | watch:*) _configctl_offer_keys "$cur" "$bus" ;;
        set:* | list:* | export:*) ((given > 0)) || _configctl_offer_keys "$cur" "$bus" ;;
        import:*) ((given > 0)) || _configctl_offer_files "$cur" ;;
    esac
}

complete -F _configctl configctl
