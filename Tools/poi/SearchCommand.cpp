#include "SearchCommand.h"

#include <fstream>
#include <iostream>
#include <sstream>

#include "CommandArgs.h"
#include "SearchKinds.h"
#include "SearchRun.h"

namespace Kest {

namespace {

// The options every kind takes.
const std::set<std::string> kCommonValues = {"--data", "--limit", "--offset"};
const std::set<std::string> kCommonFlags = {"--json"};

std::string KindNames()
{
    std::string names;
    for (const SearchKind& kind : SearchKinds())
        names += (names.empty() ? "" : ", ") + kind.name;
    return names;
}

} // namespace

std::string SearchCommand::Usage()
{
    std::string usage = "usage: poi search --data DIR KIND [options] ARGS\n\nkinds:\n";
    for (const SearchKind& kind : SearchKinds())
        usage += "  " + kind.synopsis + "\n";
    for (const SearchKind& kind : SearchKinds())
        usage += "\n" + kind.help;
    usage += "\n"
             "options of every kind:\n"
             "  --data DIR        the data directory made by poi build (required)\n"
             "  --limit N         print at most N hits (default 10; 0 prints the summary)\n"
             "  --offset K        skip the first K hits (default 0)\n"
             "  --json            one JSON object per line: first the summary, then one\n"
             "                    {\"name\",\"lon\",\"lat\",\"address\",\"code\"} per hit\n"
             "  -h, --help        show this text\n"
             "\n"
             "batch: poi search [options] --batch FILE runs one search per line of FILE\n"
             "('-': standard input), its words separated by tabs and put after the\n"
             "options given on the command line; after each search's output and error\n"
             "lines comes a line of the character 0x1E and its exit status. The exit\n"
             "status of the batch is 0, or 2 when FILE cannot be read.\n"
             "\n"
             "exit status: 0 searched (even with no hits), 1 the search failed or met a\n"
             "damaged file or page (named; no hits are printed then: see poi check),\n"
             "2 usage error\n";
    return usage;
}

int SearchCommand::Fail(int status, const std::string& message)
{
    m_err << "poi search: " << message << "\n";
    return status;
}

int SearchCommand::Run(const std::vector<std::string>& args)
{
    for (std::size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--batch" || args[i].rfind("--batch=", 0) == 0) {
            std::vector<std::string> common(args.begin(), args.begin() + i);
            std::string file;
            if (args[i] != "--batch")
                file = args[i].substr(8);
            else if (i + 1 < args.size())
                file = args[++i];
            else
                return Fail(2, "option --batch needs a value (a file of searches, '-' for standard input)");
            common.insert(common.end(), args.begin() + i + 1, args.end());
            return RunBatch(file, common);
        }
    }
    // Parse with every kind's options, then refuse those the chosen kind
    // does not take.
    std::set<std::string> values = kCommonValues, flags = kCommonFlags;
    for (const SearchKind& kind : SearchKinds()) {
        values.insert(kind.valueOptions.begin(), kind.valueOptions.end());
        flags.insert(kind.flags.begin(), kind.flags.end());
    }
    CommandArgs parsed(values, flags);
    std::string error;
    if (!parsed.Parse(args, error))
        return Fail(2, error + " (see poi search --help)");
    if (parsed.Help()) {
        m_out << Usage();
        return 0;
    }
    if (parsed.Positional().empty())
        return Fail(2, "no search given: expected a kind (" + KindNames() + ") (see poi search --help)");
    const std::string& name = parsed.Positional()[0];
    const SearchKind* kind = nullptr;
    for (const SearchKind& k : SearchKinds())
        if (k.name == name)
            kind = &k;
    if (kind == nullptr)
        return Fail(2, "unknown search '" + name + "' (this poi offers: " + KindNames() + ")");
    for (const std::string& option : values)
        if (parsed.Has(option) && kCommonValues.count(option) == 0 && kind->valueOptions.count(option) == 0)
            return Fail(2, option + " does not apply to " + name + " (see poi search --help)");
    for (const std::string& option : flags)
        if (parsed.Has(option) && kCommonFlags.count(option) == 0 && kind->flags.count(option) == 0)
            return Fail(2, option + " does not apply to " + name + " (see poi search --help)");
    SearchRun run(m_out, m_err, parsed);
    return kind->run(run);
}

int SearchCommand::RunBatch(const std::string& file, const std::vector<std::string>& common)
{
    std::ifstream opened;
    if (file != "-") {
        opened.open(file);
        if (!opened)
            return Fail(2, "cannot read the batch file '" + file + "'");
    }
    std::istream& in = file == "-" ? std::cin : opened;
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        std::vector<std::string> args = common;
        std::size_t start = 0;
        for (std::size_t tab; (tab = line.find('\t', start)) != std::string::npos; start = tab + 1)
            args.push_back(line.substr(start, tab - start));
        args.push_back(line.substr(start));
        // Each search writes into buffers of its own, so that its output
        // and its errors stay together and in order.
        std::ostringstream out, err;
        const int status = SearchCommand(out, err).Run(args);
        m_out << out.str() << err.str() << '\x1e' << status << '\n';
    }
    m_out.flush();
    return 0;
}

} // namespace Kest
