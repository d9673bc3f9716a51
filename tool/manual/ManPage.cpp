// SPDX-License-Identifier: Apache-2.0
// Manual pages in the language of man(7).
#include <algorithm>
#include <cctype>
#include <cstddef>
#include <ostream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "tool/Program.h"
#include "tool/manual/Manual.h"

namespace fieldstore::tool {
namespace {

/// Text as man shows it unchanged. A dash alone is a hyphen to man, which breaks lines and copies.
std::string Plain(const std::string& text) {
    std::string result;
    for (const char letter : text) {
        switch (letter) {
            case '\\':
                result += "\\e";
                break;
            case '-':
                result += "\\-";
                break;
            case '\'':
                result += "\\(aq";
                break;
            case '`':
                result += "\\(ga";
                break;
            case '^':
                result += "\\(ha";
                break;
            case '~':
                result += "\\(ti";
                break;
            default:
                result += letter;
        }
    }
    return result.rfind('.', 0) == 0 ? "\\&" + result : result;
}
std::string Bold(const std::string& text) {
    return "\\fB" + Plain(text) + "\\fR";
}
std::string Italic(const std::string& text) {
    return "\\fI" + Plain(text) + "\\fR";
}

std::string Upper(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
    return text;
}

std::string Sentence(const std::string& text) {
    return Plain(text) + (text.empty() || text.back() == '.' ? "" : ".");
}

/// A summary as it stands after a name: without its capital, unless it begins with a short form.
std::string Phrase(std::string text) {
    if (text.size() > 1 && std::islower(static_cast<unsigned char>(text[1])) != 0)
        text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
    return Plain(text);
}

std::string PageName(const std::string& command) {
    return std::string(kProgramName) + "-" + command;
}

class Page {
public:
    Page(const Command& described, bool isProgram, std::ostream& stream)
        : command(described),
          name(isProgram ? described.name : PageName(described.name)),
          out(stream) {}

    void Head(const std::string& date) {
        out << ".\\\" Made from the options of " << kProgramName << " itself.\n"
            << ".TH " << Plain(Upper(name)) << " 1 \"" << date << "\" \"" << kProgramName << ' '
            << VersionNumber() << "\" \"User Commands\"\n"
            << ".ad l\n.nh\n";  // names of classes and pages stay whole
        Heading("Name");
        out << Plain(name) << " \\- " << Phrase(command.summary) << '\n';
    }

    void Synopsis() {
        Heading("Synopsis");
        out << Bold(kProgramName) << ' ' << Bold(command.name);
        for (const Argument& argument : command.positionals)
            out << ' ' << Italic(argument.names.front()) << (argument.several ? " ..." : "");
        for (const Argument& option : command.options)
            if (option.required) out << ' ' << Bold(option.names.front()) << ' ' << Values(option);
        out << " [" << Italic("option") << " ...]\n";
    }

    void ProgramSynopsis() {
        Heading("Synopsis");
        out << Bold(name) << ' ' << Italic("command") << " [" << Italic("argument")
            << " ...]\n.br\n"
            << Bold(name);
        for (const Argument& option : command.options)
            out << (&option == &command.options.front() ? " " : " | ") << Bold(option.names.back());
        out << '\n';
    }

    void Description() {
        Heading("Description");
        out << Sentence(command.summary) << '\n';
        for (const Section& section : command.sections) {
            if (!section.heading.empty()) continue;
            Body(section.text, true);
        }
        if (!command.aliases.empty())
            out << ".PP\nAlso called " << Bold(Joined(command.aliases, ", ")) << ".\n";
    }

    void Arguments(const std::string& heading, const std::vector<Argument>& arguments) {
        if (arguments.empty()) return;
        Heading(heading);
        for (const Argument& argument : arguments) {
            out << ".TP\n";
            const bool positional = argument.names.front().front() != '-';
            for (const auto& each : argument.names)
                out << (&each == &argument.names.front() ? "" : ", ")
                    << (positional ? Italic(each) : Bold(each));
            if (!positional && !argument.value.empty()) out << ' ' << Values(argument);
            out << '\n' << Sentence(argument.text) << '\n';
            if (!argument.isClosed && !argument.choices.empty())
                out << "One of " << Plain(Joined(argument.choices, ", ")) << ".\n";
            if (!argument.preset.empty()) out << "Without it, " << Bold(argument.preset) << ".\n";
        }
    }

    void Commands(const std::vector<Command>& commands) {
        Heading("Commands");
        for (const Command& each : commands)
            out << ".TP\n" << Bold(each.name) << '\n' << Sentence(each.summary) << '\n';
        out << ".PP\nEach has a page of its own, as " << Bold(PageName(commands.front().name))
            << "(1).\n";
    }

    void OtherSections() {
        for (const Section& section : command.sections) {
            if (section.heading.empty()) continue;
            Heading(section.heading);
            if (section.heading == "Exit status")
                Statuses(section.text);
            else if (section.heading == "Examples")
                out << ".nf\n" << Lines(section.text) << ".fi\n";
            else
                Body(section.text);
        }
    }

    void SeeAlso(const std::vector<std::string>& pages) {
        Heading("See also");
        for (const auto& page : pages)
            out << ".BR " << Plain(page) << " (1)" << (&page == &pages.back() ? "\n" : ",\n");
    }

private:
    void Heading(const std::string& text) { out << ".SH " << Upper(text) << '\n'; }

    static std::string Values(const Argument& argument) {
        if (!argument.isClosed) return Italic(argument.value);
        std::string values;
        for (const auto& choice : argument.choices)
            values += (values.empty() ? "" : "|") + Bold(choice);
        return values;
    }

    /// Prose, in which lines of a word, spaces and a text are a list.
    void Body(const std::string& text, bool isParagraph = false) {
        std::istringstream lines(text);
        std::smatch parts;
        bool begins = isParagraph;
        for (std::string line; std::getline(lines, line);) {
            const bool item = std::regex_match(line, parts, std::regex(" *([^ ]+) {2,}([^ ].*)"));
            if (item)
                out << ".TP\n" << Bold(parts[1]) << '\n' << Plain(parts[2]) << '\n';
            else
                out << (begins ? ".PP\n" : "") << Plain(line) << '\n';
            begins = item;
        }
    }

    static std::string Lines(const std::string& text) {
        std::string result;
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);)
            result += Plain(line.substr(std::min(line.find_first_not_of(' '), line.size()))) + '\n';
        return result;
    }

    /// Statuses as "0 sound, 1 problems found; 2 when ...", where success may go without words.
    void Statuses(const std::string& text) {
        static const std::regex number("(?:^|[,;]\\s)([0-9])(?=[ ;,])");
        const std::sregex_iterator end;
        for (std::sregex_iterator status(text.begin(), text.end(), number); status != end;) {
            const auto begin = static_cast<std::size_t>(status->position() + status->length());
            out << ".TP\n" << Bold((*status)[1]) << '\n';
            ++status;
            const std::size_t stop =
                status == end ? text.size() : static_cast<std::size_t>(status->position());
            const std::string meaning = text.substr(begin, stop - begin);
            out << (meaning.empty() ? "Success."
                                    : Upper(meaning.substr(1, 1)) + Sentence(meaning.substr(2)))
                << '\n';
        }
    }

    const Command& command;
    const std::string name;
    std::ostream& out;
};

std::vector<std::string> OtherPages(const Manual& manual, const Command* command) {
    std::vector<std::string> pages;
    if (command != nullptr) pages.push_back(manual.program.name);
    for (const Command& each : manual.commands)
        if (&each != command) pages.push_back(PageName(each.name));
    return pages;
}

}  // namespace

void WritePage(const Manual& manual, const Command* command, const std::string& date,
               std::ostream& out) {
    const bool isProgram = command == nullptr;
    const Command& described = isProgram ? manual.program : *command;
    Page page(described, isProgram, out);
    page.Head(date);
    if (isProgram)
        page.ProgramSynopsis();
    else
        page.Synopsis();
    page.Description();
    if (isProgram) page.Commands(manual.commands);
    page.Arguments("Arguments", described.positionals);
    page.Arguments("Options", described.options);
    page.OtherSections();
    page.SeeAlso(OtherPages(manual, command));
}

}  // namespace fieldstore::tool
