# Completion of qdxview in Bash.
_qdxview() {
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
        --output | --html)
            _filedir
            return
            ;;
        --filter)
            mapfile -t COMPREPLY < <(dch --complete filter pull keep "$cur" 2>/dev/null)
            return
            ;;
        --width | --every)
            return
            ;;
    esac
    $split && return
    if [[ $cur == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W '--format --catalogue --output --html --width --raw --ascii --top --every --filter --once --help --version' -- "$cur")
    else
        _filedir
    fi
}
complete -F _qdxview qdxview
