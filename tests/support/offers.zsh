# What zsh offers behind each LINE that is typed: each on a line, and a line that is empty at the end.
#
# Usage: zsh -f offers.zsh FOLDER-OF-COMPLETIONS LINE...
zmodload zsh/zpty

start() {
    local line
    zpty shell zsh -f -i
    zpty -w shell "source ${(q)1} ${(q)2}"
    while zpty -r shell line; do
        [[ $line != READY* ]] || break
    done
}

offers() {
    local line
    zpty -w -n shell "$1"$'\t'
    while zpty -r shell line; do
        line=${line%$'\r\n'}
        [[ $line != END ]] || break
        [[ $line != OFFERED\ * ]] || print -r -- "${line#OFFERED }"
    done
    print
    zpty -w -n shell $'\x15'  # takes the line back
}

start =(<<<'
PROMPT=
RPROMPT=
unsetopt zle_bracketed_paste auto_list auto_menu
fpath=($1 $fpath)
autoload -Uz compinit && compinit -D -u
bindkey -e
bindkey "^I" complete-word
# Those calls that only ask what fits are left alone.
compadd() {
    if [[ ${@[1,(i)(-|--)]} == *-(O|A|D)\ * ]]; then
        builtin compadd "$@"
        return
    fi
    local -a hits
    builtin compadd -A hits "$@"
    (($#hits == 0)) || print -l -- "" "OFFERED "$^hits
}
finish() {
    print "\nEND"
    comppostfuncs=(finish)
}
comppostfuncs=(finish)
print READY') "$1"
shift
for line; do
    offers "$line"
done
