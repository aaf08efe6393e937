// csctl: reads and writes the configuration store from the command line, through the
// library's C interface. Write commands may be chained with "++" and run in one transaction:
//   csctl set K G C a=1 ++ update K2 G C --remove b ++ delete K3 G C
#include <dlfcn.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "ControlEscapes.h"

#include "Apply.h"
#include "Commands.h"
#include "Exchange.h"
#include "History.h"
#include "Rollback.h"

namespace csctl {
namespace {

const char* const kChain = "++";

// What one command of the command line says, as CLI11 fills it in.
struct Arguments {
    std::string nameSpace;
    bool json = false;
    Identity identity;
    std::string subPath;
    std::string dataClass = "configuration";
    std::string context;
    std::vector<std::string> positionals;  // VALUEKEY=VALUE, VALUEKEY, KEY or FILE
    std::vector<std::string> ints, doubles, bools, strings, jsons, removals;
    bool replace = false;
    bool dryRun = false;
    bool bare = false;
    bool boot = false;
    bool pending = false;
    double confirm = 0;  // seconds; 0: what is committed stays
    double interval = 0.25;
    int count = 0;
};

// A parser with the arguments it fills; CLI11 keeps pointers into them.
struct Parser {
    Arguments arguments;
    CLI::App app{"Reads and writes the configuration store.", "csctl"};

    std::string command() const {
        const auto chosen = app.get_subcommands();
        return chosen.empty() ? std::string() : chosen.front()->get_name();
    }
    // Where the help of the command line's command is.
    std::string hint() const {
        const std::string chosen = command();
        return "Run 'csctl " + (chosen.empty() ? "" : chosen + " ") + "--help'.\n";
    }
};

// The number of single-character edits that make `from` into `to`.
std::size_t Distance(const std::string& from, const std::string& to) {
    std::vector<std::size_t> row(to.size() + 1);
    for (std::size_t j = 0; j < row.size(); ++j) row[j] = j;
    for (std::size_t i = 1; i <= from.size(); ++i) {
        std::size_t diagonal = row[0]++;
        for (std::size_t j = 1; j <= to.size(); ++j) {
            const std::size_t above = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (from[i - 1] != to[j - 1])});
            diagonal = above;
        }
    }
    return row.back();
}

// What a parse error says; a word where the command belongs is named, with the command it
// may have meant.
std::string ParseFailure(const Parser& parser, const CLI::ParseError& error) {
    if (!parser.command().empty()) return error.what();
    for (const std::string& word : parser.app.remaining()) {
        if (word.empty() || word[0] == '-') continue;
        std::string message = "'" + word + "' is no csctl command";
        for (const CLI::App* command : parser.app.get_subcommands({})) {
            if (Distance(word, command->get_name()) <= 2) {
                return message + "; did you mean '" + command->get_name() + "'?";
            }
        }
        return message;
    }
    return error.what();
}

// csctl's version and the version of the library it runs on, which the name of the library's
// file tells ("libconfigstorec.so.1.2.0").
std::string Versions() {
    std::string library = "unknown";
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&GetStore), &info) != 0 && info.dli_fname != nullptr) {
        char resolved[PATH_MAX];
        if (realpath(info.dli_fname, resolved) != nullptr) {
            const std::string file = resolved;
            const std::size_t so = file.rfind(".so.");
            library = so == std::string::npos ? file : file.substr(so + 4) + " (" + file + ")";
        }
    }
    return std::string("csctl ") + CSCTL_VERSION + "\nlibconfigstorec " + library;
}

void AddIdentity(CLI::App* command, Arguments& arguments) {
    Identity& identity = arguments.identity;
    command->add_option("KEY", identity.key, "the object's key")->required();
    command->add_option("GROUP", identity.group, "the object's group")->required();
    command->add_option("COMPONENT", identity.component, "the object's component")->required();
    command->add_option("--instance", identity.instance, "the object's instance id");
    command->add_option("--sub", arguments.subPath, "a sub-object of the object")
        ->type_name("KEY[:ID][/KEY[:ID]...]");
}

void AddTypedValues(CLI::App* command, Arguments& arguments) {
    const std::pair<const char*, std::vector<std::string>*> options[] = {
        {"--int", &arguments.ints},
        {"--double", &arguments.doubles},
        {"--bool", &arguments.bools},
        {"--string", &arguments.strings}};
    for (const auto& [name, values] : options) {
        command->add_option(name, *values, std::string("a value stored as ") + (name + 2))
            ->type_name("VALUEKEY=VALUE")
            ->allow_extra_args(false);
    }
}

void AddClass(CLI::App* command, Arguments& arguments) {
    command->add_option("--class", arguments.dataClass, "the class of data written")
        ->check(CLI::IsMember({"configuration", "user", "vital", "cached"}));
    if (command->get_name() == "edit") return;
    command->add_option("--context", arguments.context, "the context of the write")
        ->check(CLI::IsMember({"internal", "external"}));
}

// --confirm: the command's commit rolls back by itself unless confirmed in time.
void AddConfirm(CLI::App* command, Arguments& arguments) {
    command
        ->add_option("--confirm", arguments.confirm,
                     "roll the change back after SECONDS unless 'csctl confirm' keeps it")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.1, 604800.0));
}

void Configure(Parser& parser) {
    CLI::App& app = parser.app;
    Arguments& arguments = parser.arguments;
    // An empty name is no way to ask for the default namespace: GetStore refuses it too.
    app.add_option("--namespace", arguments.nameSpace, "the store's namespace")
        ->check(CLI::Validator(
            [](const std::string& name) {
                return name.empty() ? std::string("a namespace's name is never empty")
                                    : std::string();
            },
            "NAME"));
    app.add_flag("--json", arguments.json, "JSON on standard output");
    app.set_version_flag("--version", Versions);
    app.require_subcommand(1, 1);
    app.fallthrough();  // the options above are taken after the command too

    CLI::App* get = app.add_subcommand("get", "print values, or the whole object");
    AddIdentity(get, arguments);
    get->add_option("VALUEKEY", arguments.positionals, "values to print");
    get->add_flag("--value", arguments.bare, "print only the values: a list one element a line");

    CLI::App* set = app.add_subcommand("set", "change these values, keeping the others");
    CLI::App* update = app.add_subcommand("update", "change or remove these values");
    for (CLI::App* write : {set, update}) {
        AddIdentity(write, arguments);
        AddClass(write, arguments);
        write->add_option("VALUEKEY=VALUE", arguments.positionals, "values, typed as JSON");
        AddTypedValues(write, arguments);
        write->add_option("--json-value", arguments.jsons, "a value as JSON: an object too")
            ->type_name("VALUEKEY=JSON")
            ->allow_extra_args(false);
    }
    set->add_flag("--replace", arguments.replace, "store exactly these values: the others go");
    update->add_option("--remove", arguments.removals, "a value to remove")
        ->allow_extra_args(false);

    CLI::App* remove = app.add_subcommand("delete", "delete an object");
    AddIdentity(remove, arguments);
    for (CLI::App* write : {set, update, remove}) AddConfirm(write, arguments);

    CLI::App* list = app.add_subcommand("list", "list the objects a filter selects");
    list->add_option("KEY", arguments.identity.key, "the objects' key; none: every key");
    list->add_option("VALUEKEY=VALUE", arguments.positionals, "values the objects hold");
    AddTypedValues(list, arguments);
    CLI::App* exported = app.add_subcommand("export", "print the exchange document of objects");
    CLI::App* watch = app.add_subcommand("watch", "print each change of objects as it is made");
    watch->add_option("KEY", arguments.identity.key, "the objects' key; none: every key");
    watch->add_option("--interval", arguments.interval, "seconds between two looks at the store")
        ->check(CLI::Range(0.01, 3600.0));
    watch->add_option("--count", arguments.count, "stop after this many changes")
        ->check(CLI::PositiveNumber);
    exported->add_option("KEY", arguments.positionals, "keys to export; none: every key");
    CLI::App* log = app.add_subcommand("log", "print the commits the history holds, newest first");
    log->add_option("KEY", arguments.identity.key, "commits of this key only; none: every key");
    for (CLI::App* selecting : {list, exported, watch, log}) {
        selecting->add_option("--group", arguments.identity.group, "only this group");
        selecting->add_option("--component", arguments.identity.component, "only this component");
        selecting->add_option("--instance", arguments.identity.instance, "only this instance id");
    }
    CLI::App* imported = app.add_subcommand("import", "store an exchange document");
    imported->add_flag("--dry-run", arguments.dryRun, "check the document, store nothing");
    imported->add_flag("--replace", arguments.replace,
                       "the objects of the keys, groups and components the document holds "
                       "become the document's");
    AddConfirm(imported, arguments);
    imported->add_option("FILE", arguments.positionals, "the document; - reads standard input")
        ->required()
        ->expected(1);
    CLI::App* diff = app.add_subcommand(
        "diff", "print how the store differs from a document, or between two versions");
    diff->add_option("FILE|VERSION", arguments.positionals,
                     "a document (- reads standard input; ./N a file named N), or a version and "
                     "perhaps a second one (none: the store now)")
        ->required()
        ->expected(1, 2);
    app.add_subcommand("show", "print what the commit of a version changed")
        ->add_option("VERSION", arguments.positionals, "the version")
        ->required()
        ->expected(1);
    CLI::App* rollback = app.add_subcommand(
        "rollback", "make the configuration what it was after a version, in one new commit");
    rollback->add_option("VERSION", arguments.positionals, "the version")->required()->expected(1);
    AddConfirm(rollback, arguments);
    app.add_subcommand("confirm", "keep the changes that wait for confirmation")
        ->add_option("ID", arguments.positionals, "this change only")
        ->expected(0, 1);

    CLI::App* edit = app.add_subcommand("edit", "edit the values of an object in $EDITOR");
    edit->add_option("KEY", arguments.identity.key, "the object's key")->required();
    edit->add_option("GROUP", arguments.identity.group, "the object's group")->required();
    edit->add_option("COMPONENT", arguments.identity.component, "the object's component")
        ->required();
    edit->add_option("--instance", arguments.identity.instance, "the object's instance id");
    AddClass(edit, arguments);
    app.add_subcommand("instance-id", "print a new instance id");
    app.add_subcommand("check", "check every page of the namespace's files");

    CLI::App* apply = app.add_subcommand("apply", "run the apply modules of components");
    apply->add_option("COMPONENT", arguments.positionals, "components; none: every one");
    apply->add_flag("--boot", arguments.boot, "run every module as at boot")
        ->excludes(apply->get_option("COMPONENT"));
    apply
        ->add_flag("--pending", arguments.pending,
                   "run the modules whose work commits left due (their writer ended first)")
        ->excludes(apply->get_option("COMPONENT"))
        ->excludes(apply->get_option("--boot"));
    app.add_subcommand("status",
                       "print the last apply result of components, pending work and changes "
                       "waiting for confirmation")
        ->add_option("COMPONENT", arguments.positionals, "components; none: every one");
    // Last: a subcommand takes its parent's footer when it is made.
    for (CLI::App* chaining : {&app, set, update, remove}) {
        chaining->footer("Write commands chain with \"++\" and run in one transaction.");
    }
}

std::vector<Assignment> Assignments(const Arguments& arguments) {
    std::vector<Assignment> assignments;
    const std::pair<const std::vector<std::string>*, ValueType> sources[] = {
        {&arguments.positionals, ValueType::Inferred}, {&arguments.ints, ValueType::Integer},
        {&arguments.doubles, ValueType::Double},       {&arguments.bools, ValueType::Bool},
        {&arguments.strings, ValueType::String},       {&arguments.jsons, ValueType::Json}};
    for (const auto& [texts, type] : sources) {
        for (const std::string& text : *texts) assignments.push_back(ParseAssignment(text, type));
    }
    return assignments;
}

bool IsWrite(const std::string& command) {
    return command == "set" || command == "update" || command == "delete";
}

DataClass ClassNamed(const std::string& name) {
    return name == "user"     ? DataClass::User
           : name == "vital"  ? DataClass::Vital
           : name == "cached" ? DataClass::Cached
                              : DataClass::Configuration;
}

// The object the arguments name, down to the sub-object of --sub.
Identity NamedObject(const Arguments& arguments) {
    Identity identity = arguments.identity;
    if (!arguments.subPath.empty()) identity.sub = ParseSubPath(arguments.subPath);
    return identity;
}

bool IsReadOnly(const std::string& command) {
    return command == "get" || command == "list" || command == "export" || command == "status" ||
           command == "diff" || command == "watch" || command == "check" || command == "log" ||
           command == "show";
}

Write ToWrite(const Parser& parser) {
    const Arguments& arguments = parser.arguments;
    const std::string command = parser.command();
    Write write;
    write.kind = command == "set"      ? WriteKind::Set
                 : command == "update" ? WriteKind::Update
                                       : WriteKind::Delete;
    write.identity = NamedObject(arguments);
    write.dataClass = ClassNamed(arguments.dataClass);
    if (!arguments.context.empty()) {
        if (write.dataClass == DataClass::Vital || write.dataClass == DataClass::Cached) {
            throw Failure{kUsage, "--context applies to configuration and user data only", {}};
        }
        write.context = arguments.context == "internal" ? "INTERNAL" : "EXTERNAL";
    }
    if (write.kind != WriteKind::Delete) write.values = Assignments(arguments);
    if (write.kind == WriteKind::Set && write.values.empty()) {
        throw Failure{kUsage, "set needs a VALUEKEY=VALUE (delete removes an object)", {}};
    }
    write.removals = arguments.removals;
    for (const Assignment& assignment : write.values) {
        if (std::count(write.removals.begin(), write.removals.end(), assignment.key) > 0) {
            throw Failure{kUsage, "'" + assignment.key + "' is both written and removed", {}};
        }
    }
    write.replace = arguments.replace;
    return write;
}

// The command line cut at every "++".
std::vector<std::vector<std::string>> Chain(int argc, char** argv) {
    std::vector<std::vector<std::string>> commands(1);
    for (int i = 1; i < argc; ++i) {
        if (argv[i] == std::string(kChain))
            commands.emplace_back();
        else
            commands.back().emplace_back(argv[i]);
    }
    return commands;
}

// One line naming the mistake, then where the help is.
int UsageError(bool json, const std::string& message, const std::string& hint) {
    Output(json).Error(Failure{kUsage, message, {}});
    if (!json) std::fputs(hint.c_str(), stderr);
    return kUsage;
}

// Runs the parsed commands against the store of `nameSpace` (none: the default); the exit status.
int Execute(std::vector<std::unique_ptr<Parser>>& parsers, std::string nameSpace, Output& output) {
    const Parser& first = *parsers.front();
    if (nameSpace.empty() && std::getenv("CONFIGSTORE_NAMESPACE") != nullptr) {
        nameSpace = std::getenv("CONFIGSTORE_NAMESPACE");
    }
    // The functions without a store argument act on the default namespace: make it this one.
    if (!nameSpace.empty()) setenv("CONFIGSTORE_NAMESPACE", nameSpace.c_str(), 1);

    const Arguments& arguments = first.arguments;
    const std::string command = first.command();
    // Commands that only read open the store read-only: they never create a namespace, and a
    // namespace that does not exist is an error.
    if (IsReadOnly(command)) setenv("CONFIGSTORE_READ_ONLY", "1", 1);
    double confirm = 0;
    for (const auto& parser : parsers) confirm = std::max(confirm, parser->arguments.confirm);
    // Forked before any store is open: changes waiting for confirmation are undone by it.
    std::unique_ptr<Waiter> waiter;
    if (confirm > 0 || (command == "apply" && arguments.boot)) {
        waiter = std::make_unique<Waiter>(nameSpace);
    }
    Session session(nameSpace, output);
    if (confirm > 0) session.ConfirmWithin(confirm, *waiter);
    if (IsWrite(command)) {
        std::vector<Write> writes;
        for (const auto& parser : parsers) writes.push_back(ToWrite(*parser));
        RunWrites(session, writes);
    } else if (command == "get") {
        if (arguments.bare && (arguments.positionals.empty() || output.json())) {
            throw Failure{kUsage, "--value prints the values named, as text (without --json)", {}};
        }
        RunGet(session, NamedObject(arguments), arguments.positionals, arguments.bare);
    } else if (command == "list") {
        // A first word that holds "=" is a value the objects hold, not their key.
        Identity pattern = arguments.identity;
        std::vector<Assignment> conditions = Assignments(arguments);
        if (pattern.key.find('=') != std::string::npos) {
            conditions.insert(conditions.begin(),
                              ParseAssignment(pattern.key, ValueType::Inferred));
            pattern.key.clear();
        }
        RunList(session, pattern, conditions);
    } else if (command == "export") {
        RunExport(session, arguments.positionals, arguments.identity);
    } else if (command == "apply") {
        RunApply(session, arguments.positionals,
                 arguments.boot      ? ApplyRun::Boot
                 : arguments.pending ? ApplyRun::Pending
                                     : ApplyRun::Named,
                 waiter.get());
    } else if (command == "status") {
        RunStatus(session, arguments.positionals);
    } else if (command == "import") {
        RunImport(session, arguments.positionals.front(), arguments.dryRun, arguments.replace);
    } else if (command == "check") {
        // Opening checks the files' identity and format only; this asks the store for all.
        setenv("CONFIGSTORE_CHECK", "full", 1);
        session.store();
        output.Checked(session.nameSpace());
    } else if (command == "watch") {
        RunWatch(session, arguments.identity, arguments.interval, arguments.count);
    } else if (command == "diff") {
        const std::vector<std::string>& words = arguments.positionals;
        if (words.size() == 1 && !IsVersion(words.front())) {
            return RunDiff(session, words.front()) ? kDifferent : 0;
        }
        const std::optional<long long> to =
            words.size() == 2 ? std::optional<long long>(ParseVersion(words[1])) : std::nullopt;
        return RunVersionDiff(session, ParseVersion(words.front()), to) ? kDifferent : 0;
    } else if (command == "log") {
        RunLog(session, arguments.identity);
    } else if (command == "show") {
        RunShow(session, ParseVersion(arguments.positionals.front()));
    } else if (command == "rollback") {
        RunRollback(session, ParseVersion(arguments.positionals.front()));
    } else if (command == "confirm") {
        RunConfirm(session, arguments.positionals.empty() ? "" : arguments.positionals.front());

    } else if (command == "edit") {
        RunEdit(session, arguments.identity, ClassNamed(arguments.dataClass));
    } else {
        RunInstanceId(session);
    }
    return 0;
}

int Run(int argc, char** argv) {
    // The global options may come with any command of a chain; errors answer in JSON as soon as
    // one asks for it.
    const bool json = std::find(argv + 1, argv + argc, std::string("--json")) != argv + argc;
    std::string nameSpace;
    std::vector<std::unique_ptr<Parser>> parsers;
    for (std::vector<std::string>& words : Chain(argc, argv)) {
        parsers.push_back(std::make_unique<Parser>());
        Parser& parser = *parsers.back();
        Configure(parser);
        std::reverse(words.begin(), words.end());  // CLI11 takes the words last first
        try {
            parser.app.parse(words);
        } catch (const CLI::Success& success) {
            return parser.app.exit(success);
        } catch (const CLI::ParseError& error) {
            return UsageError(json, ParseFailure(parser, error), parser.hint());
        }
        const std::string& named = parser.arguments.nameSpace;
        if (!named.empty() && !nameSpace.empty() && named != nameSpace) {
            return UsageError(json, "one chain of commands works on one namespace", parser.hint());
        }
        if (!named.empty()) nameSpace = named;
    }
    for (const auto& parser : parsers) {
        if (parsers.size() > 1 && !IsWrite(parser->command())) {
            return UsageError(json, "only set, update and delete chain with \"++\"",
                              parser->hint());
        }
    }

    Output output(json);
    int status = 0;
    try {
        status = Execute(parsers, nameSpace, output);
    } catch (const Failure& failure) {
        if (failure.status == kUsage) {
            return UsageError(output.json(), failure.message, parsers.front()->hint());
        }
        output.Error(failure);
        status = failure.status;
    }
    if (!output.Flush()) {
        std::fprintf(stderr, "csctl: cannot write the output\n");
        return kOutputError;
    }
    return status;
}

}  // namespace
}  // namespace csctl

int main(int argc, char** argv) {
    try {
        return csctl::Run(argc, argv);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "csctl: %s\n", escapes::Escaped(failure.what()).c_str());
    } catch (...) {
        std::fprintf(stderr, "csctl: unexpected failure\n");
    }
    return CS_C_INTERNAL_ERROR;
}
