#compdef vesta2
# Completion of the command vesta2 for zsh. The command knows what could stand where.

local typed=${(Q)PREFIX} how line word front
local -a lines open openTexts closed closedTexts
lines=("${(@f)$(command vesta2 __complete words "${(@Q)words[2,CURRENT-1]}" "$typed" 2>/dev/null)}")
how=$lines[1]
if [[ $how == program\ * ]]; then
    shift $(( ${how#program } + 1 )) words
    (( CURRENT -= ${how#program } + 1 ))
    _normal
    return
fi

# What is typed up to the last slash stays as it is: a "~" would be quoted.
front=${typed%${typed##*/}}
[[ -n $front ]] && compset -P '*/'
for line in "${(@)lines[2,-1]}"; do
    word=${${line%%$'\t'*}#$front}
    [[ $line == *$'\t'* ]] && line="$word -- ${line#*$'\t'}" || line=$word
    if [[ $word == *[=/] ]]; then
        open+=("$word") openTexts+=("$line")
    else
        closed+=("$word") closedTexts+=("$line")
    fi
done
compadd -l -d closedTexts -a closed
compadd -S '' -d openTexts -a open
