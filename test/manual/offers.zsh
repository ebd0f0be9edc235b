# What zsh offers, for each line of $LINES_FILE: the candidates, one a line, and a line "end", in $OFFERS_FILE.
# $COMPLETIONS is the folder of the completions. To be sourced by a zsh at a terminal: it completes nowhere else.
fpath=($COMPLETIONS $fpath)
autoload -Uz compinit
compinit -u -D

# Candidates on their way to the line editor; calls that only ask go through.
compadd() {
    if [[ ${@[1,(i)(-|--)]} != *-(O|A|D)* ]]; then
        local -a hits
        builtin compadd -O hits "$@"
        ((! $#hits)) || print -rl -- $hits >>$OFFERS_FILE
    fi
    builtin compadd "$@"
}

offer() {
    _main_complete
    print end >>$OFFERS_FILE
}
zle -C offer list-choices offer

offer-all() {
    local line
    for line in ${(f)"$(<$LINES_FILE)"}; do
        BUFFER=$line CURSOR=$#line
        zle offer
    done
    BUFFER=
    print done >>$OFFERS_FILE
}
zle -N offer-all
bindkey '^Xo' offer-all
print ready
