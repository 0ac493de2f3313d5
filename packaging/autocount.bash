# bash completion for autocount: the command, then its options as the
# program's own --help lists them (so the list never goes stale), then
# images and folders.
_autocount()
{
    local current=${COMP_WORDS[COMP_CWORD]}
    if [[ $COMP_CWORD -eq 1 ]]; then
        COMPREPLY=($(compgen -W "count --help --version" -- "$current"))
        return
    fi
    if [[ $current == -* ]]; then
        local options
        options=$("${COMP_WORDS[0]}" count --help 2>/dev/null | grep -oE -- '--[a-z][a-z-]*' | sort -u)
        COMPREPLY=($(compgen -W "$options" -- "$current"))
        return
    fi
    COMPREPLY=($(compgen -f -- "$current"))
}
complete -o filenames -F _autocount autocount
