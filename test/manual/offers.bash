# What Bash offers, with bash-completion, for each line of standard input: the candidates, one a line, and a line "end".
# The last word of a line, which may be empty, is what is completed. $COMPLETIONS is the folder of the completions.
BASH_COMPLETION_USER_DIR=$COMPLETIONS
source /usr/share/bash-completion/bash_completion

while IFS= read -r line; do
    read -ra COMP_WORDS <<<"$line"
    [[ $line != *' ' ]] || COMP_WORDS+=('')
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1)) COMP_LINE=$line COMP_POINT=${#line} COMPREPLY=()
    # Loads the completion, as the first Tab does.
    _completion_loader "${COMP_WORDS[0]}"
    function=$(complete -p "${COMP_WORDS[0]}" | sed -n 's/.* -F \([^ ]*\) .*/\1/p')
    "$function" "${COMP_WORDS[0]}" "${COMP_WORDS[-1]}" "${COMP_WORDS[-2]}" 2>/dev/null
    [ ${#COMPREPLY[@]} -eq 0 ] || printf '%s\n' "${COMPREPLY[@]}"
    echo end
done
