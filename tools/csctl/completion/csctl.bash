# bash completion for csctl                                        -*- shell-script -*-
# Installed where bash-completion loads it on demand; works as well when sourced in plain bash.
# Keys, groups, components and instance ids come from "csctl list" of the store at hand.

_csctl_commands="get set update delete list export import diff edit watch apply status instance-id"
_csctl_globals="--json --namespace --help -h --version"

# The options of one command, besides the global ones.
_csctl_options() {
    local typed="--int --double --bool --string --json-value"
    case $1 in
    get) echo --instance --sub --value ;;
    set) echo --instance --sub --class --context "$typed" --replace ;;
    update) echo --instance --sub --class --context "$typed" --remove ;;
    delete) echo --instance --sub ;;
    list) echo --group --component --instance --int --double --bool --string ;;
    export | watch) echo --group --component --instance ;;
    import) echo --dry-run --replace ;;
    edit) echo --instance --class ;;
    apply) echo --boot ;;
    esac
}

# Prints the names in one column of "csctl list ARGUMENTS...", each once. Takes the command
# word and the namespace from _csctl; a failing csctl gives nothing, and none of its errors.
_csctl_names() {
    local column=$1 output
    shift
    output=$("${words[0]}" "${namespace[@]}" list "$@" 2>/dev/null) || return
    awk -v column="$column" '$column != "" && !seen[$column]++ { print $column }' <<<"$output"
}

_csctl() {
    # shellcheck disable=SC2034  # _init_completion sets prev too
    local cur prev words cword
    if declare -F _init_completion >/dev/null; then
        _init_completion -n =: || return
    else
        # Plain bash: the words of the line up to the cursor, split at blanks.
        read -r -a words <<<"${COMP_LINE:0:COMP_POINT}"
        [[ ${COMP_LINE:0:COMP_POINT} == *[[:blank:]] ]] && words+=("")
        cword=$((${#words[@]} - 1))
        cur=${words[cword]}
    fi

    # What the words before the cursor say. After "++" a further write command begins.
    local commands=$_csctl_commands command="" pending="" word i
    local -a positionals=() namespace=() narrowing=() known=()
    local -A given=()
    for ((i = 1; i < cword; i++)); do
        word=${words[i]}
        if [[ -n $pending ]]; then
            given[$pending]=$word
            pending=""
            continue
        fi
        case $word in
        ++) commands="set update delete" command="" positionals=() ;;
        --namespace | --instance | --sub | --class | --context | --int | --double | --bool | \
            --string | --json-value | --remove | --group | --component) pending=$word ;;
        -?*) ;; # a flag
        *) if [[ -z $command ]]; then command=$word; else positionals+=("$word"); fi ;;
        esac
    done
    [[ -n ${given[--namespace]-} ]] && namespace=(--namespace "${given[--namespace]}")

    # The object named so far, as "csctl list" selects it: by the positionals KEY GROUP
    # COMPONENT, or by a KEY and the options --group and --component.
    case $command in
    get | set | update | delete | edit)
        known=("${positionals[@]:0:1}")
        ((${#positionals[@]} > 1)) && known+=(--group "${positionals[1]}")
        ((${#positionals[@]} > 2)) && known+=(--component "${positionals[2]}")
        ;;
    list | export | watch)
        for word in --group --component; do
            [[ -n ${given[$word]-} ]] && narrowing+=("$word" "${given[$word]}")
        done
        known=("${positionals[@]:0:1}" "${narrowing[@]}")
        ;;
    esac

    local candidates=""
    case $pending in
    --class) candidates="configuration user vital cached" ;;
    --context) candidates="internal external" ;;
    --group) candidates=$(_csctl_names 2 "${known[@]}") ;;
    --component) candidates=$(_csctl_names 3 "${known[@]}") ;;
    --instance) candidates=$(_csctl_names 5 "${known[@]}") ;;
    ?*) ;;
    *)
        if [[ $cur == -* ]]; then
            candidates="$_csctl_globals $(_csctl_options "$command")"
        elif [[ -z $command ]]; then
            candidates=$commands
        else
            case $command:${#positionals[@]} in
            get:[0-2] | set:[0-2] | update:[0-2] | delete:[0-2] | edit:[0-2])
                candidates=$(_csctl_names $((${#positionals[@]} + 1)) "${known[@]}")
                ;;
            list:0 | watch:0 | export:*) candidates=$(_csctl_names 1 "${narrowing[@]}") ;;
            apply:* | status:*) candidates=$(_csctl_names 3) ;;
            import:0 | diff:0)
                if declare -F _filedir >/dev/null; then
                    _filedir
                else
                    compopt -o filenames 2>/dev/null
                    mapfile -t COMPREPLY < <(compgen -f -- "$cur")
                fi
                return
                ;;
            esac
        fi
        ;;
    esac
    # Those that begin with the word at the cursor (compgen -W would expand the store's names).
    local -a offered
    read -r -d '' -a offered <<<"$candidates"
    COMPREPLY=()
    for word in "${offered[@]}"; do
        [[ $word == "$cur"* ]] && COMPREPLY+=("$word")
    done
    if declare -F __ltrim_colon_completions >/dev/null; then __ltrim_colon_completions "$cur"; fi
}
complete -F _csctl csctl
