# Completion of the command vesta2 for fish. The command knows what could stand where.

function __vesta2_complete
    set -l words (commandline -opc)
    set -l word (commandline -ct)
    set -l typed (string unescape -- $word; or string unescape -- "$word\""; or echo $word)
    set -l lines (command vesta2 __complete words $words[2..] "$typed" 2>/dev/null)
    if set -l at (string match -rg '^program (.*)' -- $lines[1])
        complete -C "$(string escape -- $words[(math $at + 2)..] | string join ' ') $word"
    else
        string join \n -- $lines[2..]
    end
end

complete -c vesta2 -f -a '(__vesta2_complete)'
