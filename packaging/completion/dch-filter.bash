# Completion of dch-filter in Bash.
_dch_filter() {
    local cur prev words cword split
    _init_completion -s || return
    case $prev in
        --catalogue)
            _filedir xml
            return
            ;;
        --rate | --record-size | --budget)
            return
            ;;
    esac
    $split && return
    if [[ $cur == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W '--check --catalogue --rate --record-size --budget --help --version' -- "$cur")
    else
        _filedir filter
    fi
}
complete -F _dch_filter dch-filter
