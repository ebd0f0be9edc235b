# Completion of dch and rodc in Bash. The programs know what may come, from the collector that answers; without one there is
# nothing to offer.
_dch() {
    local -a words=()
    local piece candidate joins='' replaced=''
    for piece in "${COMP_WORDS[@]:1:COMP_CWORD}"; do
        # Bash cuts at these characters too; the program wants words whole.
        local separator=''
        [[ -n $piece && -z ${piece//[:=@]/} ]] && separator=yes
        if [[ ${#words[@]} -gt 0 && -n $joins$separator ]]; then
            words[-1]+=$piece
        else
            words+=("$piece")
        fi
        joins=$separator
        # It replaces no more than the piece behind the last of them.
        replaced=$piece
        [[ -z $separator ]] || replaced=''
    done
    local kept=${words[-1]%"$replaced"}
    COMPREPLY=()
    while IFS= read -r candidate; do
        printf -v candidate %q "${candidate#"$kept"}"
        COMPREPLY+=("$candidate")
    done < <("$1" --complete "${words[@]}" 2>/dev/null)
}
complete -F _dch dch rodc
