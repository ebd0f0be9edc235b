# Completion of qdx-replay in Bash.
_qdx_replay() {
    local cur prev words cword split
    _init_completion -s || return
    case $prev in
        --expect)
            _filedir
            return
            ;;
        --until)
            return
            ;;
    esac
    $split && return
    if [[ $cur == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W '--list --until --expect --help --version' -- "$cur")
    else
        _filedir
    fi
}
complete -F _qdx_replay qdx-replay
