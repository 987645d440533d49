# Completion of zepl for fish. What can stand at a place is asked of the tool itself.
function __zepl_complete
    set -l words (commandline -opc) (commandline -ct)
    set -l found ($words[1] complete -- $words[2..-1] 2>/dev/null)
    if string match -q '@files*' -- $found[1]
        set -l ending (string replace '@files' '' -- $found[1] | string trim)
        set -l before (string match -r '^.*=' -- $words[-1])
        for file in (string replace -r '^.*=' '' -- $words[-1])*
            if test -d $file
                echo "$before"$file/
            else if string match -q -- "*$ending" $file
                echo "$before"$file
            end
        end
    else
        printf '%s\n' $found
    end
end
complete -c zepl -f -a '(__zepl_complete)'
