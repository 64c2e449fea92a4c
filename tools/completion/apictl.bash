# SPDX-License-Identifier: MIT

# Completion of apictl for bash: source it, or install it as "apictl" in the folder of bash-completion.

# Fills COMPREPLY with those of the words that begin with the first one. Not compgen -W, which would run what stands
# in $(...) in a word that a daemon sent.
_apictl_offer() {
    local cur=$1 word
    shift
    for word in "$@"; do
        [[ $word != "$cur"* ]] || COMPREPLY+=("$word")
    done
}

_apictl_offer_files() {
    local cur=$1 prefix=$2 name
    while IFS= read -r name; do
        COMPREPLY+=("$prefix$name")
    done < <(compgen -f -- "$cur")
    compopt -o filenames 2>/dev/null
}

# The resources that every unit has; below them, the entries that a collection has at this moment. A daemon that cannot
# be reached, or does not answer within a second, has none.
_apictl_offer_paths() {
    local cur=$1 socket=$2 parent entry
    local program=${COMP_WORDS[0]}
    _apictl_offer "$cur" /system/info /system/info/oem-snmp /system/status \
        /example/test /example/test/static /example/test/dynamic
    parent=${cur%/*}
    [[ ${#COMPREPLY[@]} -eq 0 && $parent == /* ]] || return 0
    while IFS= read -r entry; do
        _apictl_offer "$cur" "$parent/$entry"
    done < <(timeout 1 "$program" ${socket:+-s "$socket"} read "$parent" 2>/dev/null </dev/null |
        grep -oE '"id":("[0-9A-Za-z-]+"|[0-9]+)' | cut -d: -f2 | tr -d '"')
}

_apictl_offer_options() {
    local cur=$1 verb=$2
    _apictl_offer "$cur" --socket --raw --json --help
    case $verb in
        '') _apictl_offer "$cur" --version ;;
        watch) _apictl_offer "$cur" --recursive --include --count --timeout ;;
        subscriptions) _apictl_offer "$cur" --recursive --include ;;
    esac
}

_apictl() {
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]}
    local verb='' socket='' given=0 i
    COMPREPLY=()
    # "=" and "@" are words of their own where they break words.
    [[ $cur != '=' ]] || cur=''
    [[ $prev != '=' ]] || prev=${COMP_WORDS[COMP_CWORD-2]}

    for ((i = 1; i < COMP_CWORD; ++i)); do
        case ${COMP_WORDS[i]} in
            -s | --socket)
                [[ ${COMP_WORDS[i+1]} != '=' ]] || ((++i))
                ((++i < COMP_CWORD)) && socket=${COMP_WORDS[i]}
                ;;
            -i | --include | -n | --count | -t | --timeout)
                [[ ${COMP_WORDS[i+1]} != '=' ]] || ((++i))
                ((++i))
                ;;
            -*) ;;
            *) if [[ -z $verb ]]; then verb=${COMP_WORDS[i]}; else ((++given)); fi ;;
        esac
    done

    case $prev in
        -s | --socket) _apictl_offer_files "$cur" '' ; return 0 ;;
        -i | --include) _apictl_offer "$cur" all updated none; return 0 ;;
        -n | --count | -t | --timeout) return 0 ;;
        @) _apictl_offer_files "$cur" ''; return 0 ;;
    esac
    case $verb:$cur in
        *:-*) _apictl_offer_options "$cur" "$verb" ;;
        :*) _apictl_offer "$cur" read update create delete watch subscriptions ;;
        watch:* | subscriptions:*) _apictl_offer_paths "$cur" "$socket" ;;
        read:* | update:* | create:* | delete:*)
            if ((given == 0)); then
                _apictl_offer_paths "$cur" "$socket"
            elif ((given == 1)) && [[ $verb != read && $cur == @ ]]; then
                _apictl_offer_files '' ''
            elif ((given == 1)) && [[ $verb != read && $cur == @* ]]; then
                _apictl_offer_files "${cur#@}" @
            fi
            ;;
    esac
}

complete -F _apictl apictl
