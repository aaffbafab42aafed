# The .zshrc of an interactive zsh that writes what it offers at the end of $offer_line to
# $offer_words, and ends.
exec 2> $offer_errors
autoload -Uz compinit
compinit -D -u

# All matches are added by this builtin. Called with -O, -A or -D it adds none.
compadd() {
    if (( ! ${@[(I)-[OAD]]} )); then
        local -a _offered
        builtin compadd -O _offered "$@"
        print -rl -- ${IPREFIX}${^_offered} >> $offer_words
    fi
    builtin compadd "$@"
}

offer() {
    _main_complete
    compstate[insert]= compstate[list]=
}
zle -C offer complete-word offer

zle-line-init() {
    zle end-of-line
    zle offer
    BUFFER=exit
    zle accept-line
}
zle -N zle-line-init
print -z -- $offer_line
