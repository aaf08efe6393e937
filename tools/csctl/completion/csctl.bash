# bash completion for csctl                                        -*- shell-script -*-
# Installed where bash-completion loads it on demand; works as well when sourced in plain bash.
# Keys, groups, components and instance ids come from "csctl list" of the store at hand.

_csctl_commands="get set update delete list export import diff edit watch apply status log show rollback confirm instance-id check"
_csctl_globals="--json --namespace --help -h --version"

# The options of one command, besides the global ones.
_csctl_options() {
    local typed="--int --double --bool --string --json-value"
    case $1 in
    get) echo --instance --sub --value ;;
    set) echo --instance --sub --class --context "$typed" --replace --confirm ;;
    update) echo --instance --sub --class --context "$typed" --remove --confirm ;;
    delete) echo --instance --sub --confirm ;;
    list) echo --group --component --instance --int --double --bool --string ;;
    export | log) echo --group --component --instance ;;
    watch) echo --group --component --instance --interval --count ;;
    import) echo --dry-run --replace --confirm ;;
    rollback) echo --confirm ;;
    edit) echo --instance --class ;;
    apply) echo --boot --pending ;;
    esac
}

# A shell word as csctl prints a name: plain characters, '...', \x and $'...' only, which
# stand for text without expanding anything.
_csctl_word="([A-Za-z0-9_.,:/@%+=-]|'[^']*'|\\\\.|\\$'([^'\\\\]|\\\\.)*')+"

# Sets unquoted to the text a word stands for: a word of the shape above read as the shell
# reads it, any other word as it is.
_csctl_unquote() {
    if [[ $1 =~ ^$_csctl_word$ ]]; then
        eval "printf -v unquoted %s $1"
    else
        unquoted=$1
    fi
}

# Prints the names in one column of "csctl list ARGUMENTS...", as csctl prints them, each once.
# Takes the command word and the namespace from _csctl; a failing csctl gives nothing, and none
# of its errors.
_csctl_names() {
    local column=$1 output line
    local -a fields
    local -A seen=()
    shift
    output=$("${words[0]}" "${namespace[@]}" list "$@" 2>/dev/null) || return
    while IFS= read -r line; do
        fields=()
        while [[ $line =~ ^[[:blank:]]*($_csctl_word)(.*)$ ]]; do
            fields+=("${BASH_REMATCH[1]}")
            line=${BASH_REMATCH[-1]}
        done
        line=${fields[column - 1]-}
        [[ -n $line && -z ${seen[$line]-} ]] && seen[$line]=1 && echo "$line"
    done <<<"$output"
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
    local commands=$_csctl_commands command="" pending="" word unquoted i
    local -a positionals=() namespace=() narrowing=() known=()
    local -A given=()
    for ((i = 1; i < cword; i++)); do
        word=${words[i]}
        _csctl_unquote "$word"
        if [[ -n $pending ]]; then
            given[$pending]=$unquoted
            pending=""
            continue
        fi
        case $word in
        ++) commands="set update delete" command="" positionals=() ;;
        --namespace | --instance | --sub | --class | --context | --int | --double | --bool | \
            --string | --json-value | --remove | --group | --component | --interval | --count | \
            --confirm)
            pending=$word
            ;;
        -?*) ;; # a flag
        *) if [[ -z $command ]]; then command=$word; else positionals+=("$unquoted"); fi ;;
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
    list | export | watch | log)
        for word in --group --component; do
            [[ -n ${given[$word]-} ]] && narrowing+=("$word" "${given[$word]}")
        done
        known=("${positionals[@]:0:1}" "${narrowing[@]}")
        ;;
    esac

    local -a candidates=()
    case $pending in
    --class) candidates=(configuration user vital cached) ;;
    --context) candidates=(internal external) ;;
    --group) mapfile -t candidates < <(_csctl_names 2 "${known[@]}") ;;
    --component) mapfile -t candidates < <(_csctl_names 3 "${known[@]}") ;;
    --instance) mapfile -t candidates < <(_csctl_names 5 "${known[@]}") ;;
    ?*) ;;
    *)
        if [[ $cur == -* ]]; then
            read -r -a candidates <<<"$_csctl_globals $(_csctl_options "$command")"
        elif [[ -z $command ]]; then
            read -r -a candidates <<<"$commands"
        else
            case $command:${#positionals[@]} in
            get:[0-2] | set:[0-2] | update:[0-2] | delete:[0-2] | edit:[0-2])
                mapfile -t candidates < <(_csctl_names $((${#positionals[@]} + 1)) "${known[@]}")
                ;;
            list:0 | watch:0 | log:0 | export:*) mapfile -t candidates < <(_csctl_names 1 "${narrowing[@]}") ;;
            apply:* | status:*) mapfile -t candidates < <(_csctl_names 3) ;;
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
    # Those whose text begins with the text at the cursor, as csctl prints them.
    _csctl_unquote "$cur"
    local typed=$unquoted
    COMPREPLY=()
    for word in "${candidates[@]}"; do
        _csctl_unquote "$word"
        [[ $unquoted == "$typed"* ]] && COMPREPLY+=("$word")
    done
    if declare -F __ltrim_colon_completions >/dev/null; then __ltrim_colon_completions "$cur"; fi
}
complete -F _csctl csctl
