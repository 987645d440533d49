#!/usr/bin/env bash
# Completion in the shells themselves. tests/cli/completion.sh TOOL [SHELL...]; without shells: those that are there.
set -uo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
tool=$1
shift
shells=("$@")
[ ${#shells[@]} -gt 0 ] || for shell in bash zsh fish; do command -v $shell >/dev/null && shells+=($shell); done
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
mkdir "$place/bin" && ln -s "$tool" "$place/bin/zepl"
export PATH=$place/bin:$PATH
cd "$place" && mkdir data && touch data/ecg.wav notes.txt
cat >heart.zp <<'TEXT'
pipe ecg : int16 from "data/ecg.wav"
pipe out : int16 to "out.wav"
constant cut = 5
variable gain : int16 = 1
TEXT

by_bash() {
    bash -c '. "$0/cli/completion/zepl.bash"; compopt() { :; }
        line=$1; words=(${line//=/ = }); [ "${line: -1}" = " " ] && words+=("")
        [ "${line: -1}" = "=" ] && words+=("")
        COMP_WORDS=("${words[@]}"); COMP_CWORD=$((${#words[@]} - 1)); _zepl; printf "%s\n" "${COMPREPLY[@]}"' "$root" "$1"
}
by_fish() { fish --no-config -c "source $root/cli/completion/zepl.fish; complete -C '$1'" | cut -f1; }
# Outside its line editor zsh has no completion system: what the script calls of it prints what it is given.
by_zsh() {
    zsh -f -c 'compadd() { while [[ $1 == -* ]]; do [[ $1 == -S ]] && shift; [[ $1 == -- ]] && { shift; break; }; shift; done; print -l -- "$@"; }
        compset() { :; }; _files() { local typed=${words[CURRENT]##*=} files; files=$typed${2%?}N")"; print -l -- ${~files}; }
        words=(${(z)2}); [[ $2 == *" " ]] && words+=(""); CURRENT=$#words; . "$1/cli/completion/_zepl"' zsh "$root" "$1"
}

status=0
# expect LINE WORD...: what the line can become
expect() {
    local line=$1 shell given
    shift
    for shell in "${shells[@]}"; do
        given=$(by_$shell "$line" | sed 's/ $//' | sort | tr '\n' ' ')
        wanted=$(printf '%s\n' "$@" | sort | tr '\n' ' ')
        [ "$given" = "$wanted" ] || { echo "$shell: '$line' becomes $given, not $wanted"; status=1; }
    done
}
expect "zepl ne" new-module
expect "zepl rep" replay
expect "zepl se" serve
expect "zepl ls" lsp
expect "zepl lsp --wo" --words
expect "zepl help edi" editors
expect "zepl serve heart.zp --lis" --listen
expect "zepl run --fee" --feed
expect "zepl help fir" FIRFILTER FIRLOWPASS
expect "zepl check h" heart.zp
expect "zepl run heart.zp --set " cut= gain=
expect "zepl run heart.zp --in " ecg=
expect "zepl batch heart.zp --discard " out
expect "zepl batch heart.zp --each " ecg=
exit $status
