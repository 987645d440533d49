# Completion of zepl for bash. What can stand at a place is asked of the tool itself.
_zepl() {
    local word=${COMP_WORDS[COMP_CWORD]} line=() at i
    # Bash splits words at = and :, the tool does not.
    for ((i = 0; i <= COMP_CWORD; i++)); do
        at=${COMP_WORDS[i]}
        if [[ $i -gt 0 && ($at == [=:]* || ${COMP_WORDS[i - 1]} == [=:]) && ${#line[@]} -gt 0 ]]; then
            line[${#line[@]} - 1]+=$at
        else
            line+=("$at")
        fi
    done
    local given=${line[${#line[@]} - 1]}
    mapfile -t COMPREPLY < <("${line[0]}" complete -- "${line[@]:1}" 2>/dev/null)
    if [[ ${COMPREPLY[0]} == @files* ]]; then
        local ending=${COMPREPLY[0]#@files}
        compopt -o filenames
        word=${given##*=}
        mapfile -t COMPREPLY < <(compgen -d -- "$word"; compgen -f -X "!*${ending# }" -- "$word")
        return
    fi
    # What stands before the last = is there already.
    [[ $given == *[=:]* ]] && COMPREPLY=("${COMPREPLY[@]#"${given%"$word"}"}")
    [[ ${COMPREPLY[0]} == *= ]] && compopt -o nospace
}
complete -F _zepl zepl
