#!/usr/bin/env python3
"""Writes the completions for bash and zsh from the help texts of the tools.

usage: scripts/make-completions.py [BUILD_DIR [FOLDER]]     by default build/debug and completions/
Run it after adding an option, and commit the result; a test compares both.
"""
import re
import shlex
import sys
from pathlib import Path

from tool_help import all_helps, read_help

ROOT = Path(__file__).resolve().parents[1]
IDS = "{0..31}"

BASH = r"""# Completion of @TOOL@ for bash, written by scripts/make-completions.py from what the help says.

# @FUNCTION@_commands COMMAND: those below it, '' for the tool itself
@FUNCTION@_commands() {
    case $1 in
@COMMANDS@
    esac
}

@FUNCTION@_options() { # COMMAND
    case $1 in
@OPTIONS@
    esac
}

# @FUNCTION@_value COMMAND OPTION: what stands behind the option, as a kind or as words; a failure if nothing does.
@FUNCTION@_value() {
    case "$1 $2" in
@VALUES@
    *) return 1 ;;
    esac
}

@FUNCTION@_argument() { # COMMAND
    case $1 in
@ARGUMENTS@
    esac
}

# @FUNCTION@_offer KIND: sets COMPREPLY to what is of the kind and begins with the current word
@FUNCTION@_offer() {
    case $1 in
    '') ;;
    files)
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        ;;
    hosts) mapfile -t COMPREPLY < <(compgen -A hostname -- "$current") ;;
    *) mapfile -t COMPREPLY < <(compgen -W "$1" -- "$current") ;;
    esac
}

@FUNCTION@() {
    local current=${COMP_WORDS[COMP_CWORD]} command='' option='' word value i
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; i++)); do
        word=${COMP_WORDS[i]}
        if [[ $word == '=' ]]; then
            continue # --option=value comes as three words
        elif [[ -n $option ]]; then
            option=''
        elif @FUNCTION@_value "$command" "$word" >/dev/null; then
            option=$word
        elif [[ " $(@FUNCTION@_commands "$command") " == *" $word "* ]]; then
            command="${command:+$command }$word"
        fi
    done
    if [[ $current == '=' ]]; then current=''; fi
    if [[ -n $option ]] && value=$(@FUNCTION@_value "$command" "$option"); then
        @FUNCTION@_offer "$value"
    elif [[ $current == -* ]]; then
        @FUNCTION@_offer "$(@FUNCTION@_options "$command")"
    elif [[ -n $(@FUNCTION@_commands "$command") ]]; then
        @FUNCTION@_offer "$(@FUNCTION@_commands "$command")"
    else
        @FUNCTION@_offer "$(@FUNCTION@_argument "$command")"
    fi
}

complete -F @FUNCTION@ @TOOL@
"""


def kind_of(value):
    """What can be offered for a value that the help calls so: a kind, or the words themselves; "" for nothing."""
    if value.startswith("0..31") or value == "ID":
        return IDS
    if re.fullmatch(r"[\w-]+(\|[\w-]+)+", value):
        return value.replace("|", " ")
    return {"FILE": "files", "TABLE": "files", "HOST": "hosts"}.get(value.rstrip("."), "")


def in_bash(kind):
    return " ".join(map(str, range(32))) if kind == IDS else kind


def command_of(described):
    return " ".join(described.words[1:])


def argument_kind(described):
    kinds = [kind_of(name) for name in described.arguments]
    return next((kind for kind in kinds if kind), "")


def case(patterns, text):
    return f"    {' | '.join(patterns)}) echo {shlex.quote(text)} ;;"


def bash_values(helps):
    """One line for all options that take the same."""
    patterns = {}
    for described in helps:
        for option in described.options:
            if option.value:
                kind = in_bash(kind_of(option.value))
                patterns.setdefault(kind, []).extend(shlex.quote(f"{command_of(described)} {name}") for name in option.names)
    return [case(some, kind) for kind, some in sorted(patterns.items())]


def bash(tool, helps):
    names = [name for described in helps for name in [shlex.quote(command_of(described))]]
    parts = {
        "COMMANDS": [case([n], " ".join(h.commands)) for n, h in zip(names, helps)],
        "OPTIONS": [case([n], " ".join(name for o in h.options for name in o.names)) for n, h in zip(names, helps)],
        "VALUES": bash_values(helps),
        "ARGUMENTS": [case([n], in_bash(argument_kind(h))) for n, h in zip(names, helps)],
        "FUNCTION": [f"_{tool}"],
        "TOOL": [tool],
    }
    text = BASH
    for name, lines in parts.items():
        text = text.replace(f"@{name}@", "\n".join(lines))
    return text


def zsh_text(text):
    return re.sub(r"([\[\]:\\])", r"\\\1", text)


def zsh_action(tool, kind):
    return {"": " ", "files": "_files", "hosts": "_hosts", IDS: f"_{tool}_ids"}.get(kind) or f"({kind})"


def zsh_option(tool, option):
    value = f":{zsh_text(option.value)}:{zsh_action(tool, kind_of(option.value))}" if option.value else ""
    names = [name + (("=" if name.startswith("--") else "+") if value else "") for name in option.names]
    told = f"[{zsh_text(option.text)}]{value}"
    if len(names) == 1:
        return shlex.quote(names[0] + told)
    return f"'({' '.join(option.names)})'{{{','.join(names)}}}{shlex.quote(told)}"


def zsh_function(tool, described):
    name = "_" + "_".join(described.words)
    parts = [zsh_option(tool, option) for option in described.options]
    for argument, text in described.arguments.items():
        many = "*" if "..." in argument or len(described.arguments) == 1 else ""
        parts.append(shlex.quote(f"{many}:{zsh_text(text or argument)}:{zsh_action(tool, kind_of(argument))}"))
    if not described.commands:
        return [f"{name}() {{", "    _arguments \\", " \\\n".join(f"        {part}" for part in parts), "}"]
    entries = [f"            {shlex.quote(zsh_text(command) + ':' + zsh_text(text))}" for command, text in described.commands.items()]
    cases = [f"            {command}) {name}_{command} ;;" for command in described.commands]
    return [f"{name}() {{", "    local line state", "    local -a commands", "    _arguments -C \\",
            *(f"        {part} \\" for part in parts), "        '1: :->command' '*:: :->argument' && return", "",
            "    case $state in", "    command)", "        commands=(", *entries, "        )",
            "        _describe command commands", "        ;;", "    argument)", "        case $line[1] in", *cases,
            "        esac", "        ;;", "    esac", "}"]


def zsh(tool, helps):
    lines = [f"#compdef {tool}", f"# Completion of {tool} for zsh, written by scripts/make-completions.py from what the help says.", ""]
    if any(kind_of(option.value) == IDS for described in helps for option in described.options):
        lines += [f"_{tool}_ids() {{", f"    compadd -- {IDS}", "}", ""]
    for described in reversed(helps):
        lines += [*zsh_function(tool, described), ""]
    return "\n".join([*lines, f'_{tool} "$@"', ""])


def main():
    if any(word.startswith("-") for word in sys.argv[1:]) or len(sys.argv) > 3:
        sys.exit(__doc__)
    tools = Path(sys.argv[1] if len(sys.argv) > 1 else ROOT / "build" / "debug") / "tools"
    folder = Path(sys.argv[2]) if len(sys.argv) > 2 else ROOT / "completions"
    if not (tools / "jay").is_file():
        sys.exit(f"make-completions.py: no {tools / 'jay'}: build it first")
    for tool, helps in (("jay", all_helps(tools / "jay")), ("jayd", [read_help(tools / "jayd")])):
        for shell, text in (("bash/", bash(tool, helps)), ("zsh/_", zsh(tool, helps))):
            path = folder / f"{shell}{tool}"
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main()
