# Completion of qdxd in Bash.
_qdxd() {
    local cur prev words cword split
    _init_completion -s || return
    case $prev in
        --library)
            _filedir so
            return
            ;;
        --record)
            _filedir
            return
            ;;
    esac
    $split && return
    mapfile -t COMPREPLY < <(compgen -W '--library --record --help --version' -- "$cur")
}
complete -F _qdxd qdxd
