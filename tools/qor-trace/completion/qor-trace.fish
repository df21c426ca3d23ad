# Completion of qor-trace for fish. The program itself says what can stand where, so that this never offers anything else.

function __qor_trace_complete
    set -l words (commandline -opc)
    set -l typed (commandline -ct)
    set -l unquoted (string replace -r '^["\']' '' -- $typed | string unescape)
    set -l lines ($words[1] complete -- $words[2..-1] "$unquoted" 2>/dev/null)
    or return
    if string match -q '*files*' -- $lines[1]
        __fish_complete_path "$unquoted"
    end
    printf '%s\n' $lines[2..-1]
end

complete -c qor-trace -k -f -a '(__qor_trace_complete)'
