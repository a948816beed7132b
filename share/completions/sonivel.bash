# bash completion for sonivel

_sonivel() {
    local cur prev command i
    cur=${COMP_WORDS[COMP_CWORD]}
    prev=${COMP_WORDS[COMP_CWORD-1]}
    command=
    for ((i = 1; i < COMP_CWORD; i++)); do
        case ${COMP_WORDS[i]} in
            analyze|export|tag) command=${COMP_WORDS[i]}; break ;;
        esac
    done

    case $prev in
        --out) compopt -o dirnames 2>/dev/null; COMPREPLY=($(compgen -d -- "$cur")); return ;;
        --settings) COMPREPLY=($(compgen -f -X '!*.json' -- "$cur")); compopt -o filenames 2>/dev/null; return ;;
        --format) COMPREPLY=($(compgen -W "wav16 wav24 wav32 mp3_320 mp3_192 mp3_128 flac vorbis opus aac same" -- "$cur")); return ;;
        --rate) COMPREPLY=($(compgen -W "44100 48000 96000" -- "$cur")); return ;;
        --normalize-by) COMPREPLY=($(compgen -W "loudest integrated" -- "$cur")); return ;;
        --channels) COMPREPLY=($(compgen -W "sum average" -- "$cur")); return ;;
        --preset) COMPREPLY=($(compgen -W "spotify youtube tidal apple amazon podcast podcast-mono ebu-r128 atsc-a85" -- "$cur")); return ;;
        --target|--ceiling) return ;;
    esac

    if [[ $cur == -* ]]; then
        local aim="--target --normalize-by --ceiling --preset --channels --album --no-cache --help"
        case $command in
            analyze) COMPREPLY=($(compgen -W "--json --csv $aim" -- "$cur")) ;;
            tag) COMPREPLY=($(compgen -W "--album --dry-run --remove --skip-existing --keep-time --no-cache --help" -- "$cur")) ;;
            export) COMPREPLY=($(compgen -W "--out --format --rate --limiter --no-limiter --overwrite --skip-existing --settings $aim" -- "$cur")) ;;
            *) COMPREPLY=($(compgen -W "--help --version --choose-files --export-with-last-settings" -- "$cur")) ;;
        esac
        return
    fi
    if [[ -z $command && $COMP_CWORD -eq 1 ]]; then
        COMPREPLY=($(compgen -W "analyze export tag help" -- "$cur"))
    fi
    compopt -o filenames 2>/dev/null
    COMPREPLY+=($(compgen -f -- "$cur"))
}
complete -F _sonivel sonivel
