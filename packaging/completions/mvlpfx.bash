# bash completion for mvlpfx
_mvlpfx_options() {
    local common="--help --json --quiet --max-iterations"
    local pin="--pin-file --pin-fd --pin-env"
    local pass="--pass-file --pass-fd --pass-env --pass-stdin"
    case $1 in
    new) echo "$common $pin --subject --algorithm --curve --days --container --exportable --machine" ;;
    keys) echo "$common --machine" ;;
    certs) echo "$common --store --machine" ;;
    create)
        echo "$common $pin $pass --output --subject --thumbprint --container --chain --names --pem" \
            "--force --allow-missing-keys --machine"
        ;;
    info) echo "$common $pass --tree" ;;
    verify) echo "$common $pass" ;;
    restore)
        echo "$common $pass --exportable --machine --keys-only --pin-from-password --dry-run"
        ;;
    register | unregister) echo "$common" ;;
    help) ;;
    *) echo "--help --version" ;;
    esac
}

# What may stand behind these two.
_mvlpfx_commands() {
    case $1 in
    keys) echo "list delete" ;;
    certs) echo "list add delete" ;;
    esac
}

# What may stand at the cursor besides values and files.
_mvlpfx_words() {
    local subcommands="new keys certs create info verify restore register unregister"
    if [[ $COMP_CWORD -eq 1 ]]; then
        echo "$subcommands help"
    elif [[ ${COMP_WORDS[1]} != help ]]; then
        _mvlpfx_commands "${COMP_WORDS[1]}"
    elif [[ $COMP_CWORD -eq 2 ]]; then
        echo "$subcommands"
    elif [[ $COMP_CWORD -eq 3 ]]; then
        _mvlpfx_commands "${COMP_WORDS[2]}"
    fi
    _mvlpfx_options "${COMP_WORDS[1]}"
}

_mvlpfx() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local subcommand=${COMP_WORDS[1]} words=
    COMPREPLY=()
    case $previous in
    --algorithm) words="gost2001 gost2012-256 gost2012-512" ;;
    --store) words="MY CA ROOT" ;;
    --pass-file | --pin-file | --output | -o | add)
        compopt -o default
        return
        ;;
    --pass-env | --pin-env)
        mapfile -t COMPREPLY < <(compgen -v -- "$current")
        return
        ;;
    --subject | --curve | --days | --container | --thumbprint | --pass-fd | --pin-fd | \
        --max-iterations) return ;;
    *)
        if [[ $COMP_CWORD -gt 1 && $current != -* && $subcommand =~ ^(info|verify|restore)$ ]]; then
            compopt -o default
            return
        fi
        words=$(_mvlpfx_words)
        ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}

complete -F _mvlpfx mvlpfx
