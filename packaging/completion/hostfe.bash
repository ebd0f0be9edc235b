# Completion of hostfe in Bash.
_hostfe() {
    local cur prev words cword split
    _init_completion -s || return
    case $prev in
        --host-root)
            _filedir -d
            return
            ;;
        --rate | --duration | --register-period)
            return
            ;;
    esac
    $split && return
    mapfile -t COMPREPLY < <(compgen -W '--rate --duration --register-period --host-root --help --version' -- "$cur")
}
complete -F _hostfe hostfe
