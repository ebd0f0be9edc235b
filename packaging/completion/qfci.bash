# Completion of qfci in Bash. Which filters there are, dch asks the collector.
_qfci_command() {
    local word
    for word in "${words[@]:1:cword-1}"; do
        case $word in
            pull | connect | ping)
                echo "$word"
                return
                ;;
        esac
    done
}

_qfci() {
    local cur prev words cword split
    _init_completion -s || return
    case $prev in
        --format)
            mapfile -t COMPREPLY < <(compgen -W 'table text csv json raw' -- "$cur")
            return
            ;;
        --catalogue)
            _filedir xml
            return
            ;;
        --output)
            _filedir
            return
            ;;
        --timeout)
            return
            ;;
    esac
    $split && return
    local options='--timeout --help' others=''
    case $(_qfci_command) in
        pull)
            options+=' --clear --output --format --catalogue'
            [[ $cur == -* ]] || others=$(dch --complete filter pull keep "$cur" 2>/dev/null)
            ;;
        connect)
            options+=' --hold'
            ;;
        ping) ;;
        *)
            options+=' --version'
            others='pull connect ping'
            ;;
    esac
    [[ $cur == -* ]] && others=$options
    mapfile -t COMPREPLY < <(compgen -W "$others" -- "$cur")
}
complete -F _qfci qfci
