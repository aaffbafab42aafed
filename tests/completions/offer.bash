# bash offer.bash <command line>: prints what bash-completion offers at its end.
. /usr/share/bash-completion/bash_completion
COMP_LINE=$1 COMP_POINT=${#1}
# As bash does it: "=" is a word of its own, and so is the empty one after a blank.
read -ra COMP_WORDS <<< "${1//=/ = }"
[[ $1 != *' ' ]] || COMP_WORDS+=('')
COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
_completion_loader "${COMP_WORDS[0]}"
[[ $(complete -p "${COMP_WORDS[0]}") =~ -F\ ([a-z_]+) ]]
"${BASH_REMATCH[1]}" "${COMP_WORDS[0]}" "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
printf '%s\n' "${COMPREPLY[@]}"
