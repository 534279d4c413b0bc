#include <service/Inspection.h>

#include <service/Worker.h>

#include <algorithm>
#include <array>
#include <iomanip>
#include <iostream>
#include <map>
#include <vector>

namespace {

constexpr int BROKEN = 1;

using Row = std::vector<std::string>;

/** How many columns of a terminal a string takes; close enough for names in Latin letters. */
std::size_t width(const std::string& text)
{
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
    }));
}

/** In columns; the first row is the heading. */
void print(const std::vector<Row>& rows)
{
    std::vector<std::size_t> widths(rows.front().size());
    for (const Row& row : rows) {
        for (std::size_t column = 0; column < row.size(); ++column)
            widths[column] = std::max(widths[column], width(row[column]));
    }
    for (const Row& row : rows) {
        std::string line;
        for (std::size_t column = 0; column + 1 < row.size(); ++column)
            line += row[column] + std::string(widths[column] + 2 - width(row[column]), ' ');
        std::cout << line << row.back() << '\n';
    }
}

/** Why the engine cannot use that table; empty if it can. */
std::string faultOf(const Translator& translator, const PoolLimits& limits,
                    const std::string& engineProgram)
{
    const Worker::Outcome outcome = askEngine(
        engineProgram, {EngineRequest::Kind::LOAD_TABLE, translator.table, {}}, limits.deadline);
    switch (outcome.end) {
    case Worker::Outcome::End::TIMED_OUT:
        return "takes more than " + std::to_string(limits.deadline.count()) + " ms to read";
    case Worker::Outcome::End::DIED:
        return "ends the engine";
    case Worker::Outcome::End::ANSWERED:
        break;
    }
    return outcome.answer.failure;
}

} // namespace

void listTranslators(const Catalogue& catalogue, const Profiles& profiles)
{
    std::vector<Row> translators{{"TRANSLATOR", "GRADE", "BACK", "NAME"}};
    for (const Translator& translator : catalogue.translators())
        translators.push_back({translator.id, std::to_string(translator.grade),
                               translatesBack(translator, catalogue, profiles) ? "yes" : "no",
                               translator.name});
    print(translators);
}

void listProfiles(const Catalogue& catalogue, const Configuration& configuration)
{
    const Profile* const first = configuration.profiles.closestOffered(
        configuration.profiles.named(configuration.defaultProfile));
    if (first == nullptr)
        return;
    std::vector<Row> profiles{{"PROFILE", "DISPLAY", "ENTRY", "COMPUTER", "GRADE 1", "LANGUAGE"}};
    for (const Profile& profile : configuration.profiles.all()) {
        if (!profile.isOffered())
            continue;
        Row row{profile.name};
        for (const auto& [role, member] : ROLES)
            row.push_back(catalogue.find(profile.*member)->id);
        row.push_back(profile.language + (&profile == first ? " (default)" : ""));
        profiles.push_back(row);
    }
    std::cout << '\n';
    print(profiles);
}

int check(const Catalogue& catalogue, const Configuration& configuration,
          const std::string& engineProgram)
{
    std::map<std::string, std::string> faults;
    for (const Translator& translator : catalogue.translators()) {
        const std::string fault = faultOf(translator, configuration.limits, engineProgram);
        if (fault.empty())
            continue;
        faults.emplace(translator.id, fault);
        std::cout << translator.id << ": " << fault << '\n';
    }
    std::size_t notOffered = 0;
    for (const Profile& profile : configuration.profiles.all()) {
        for (const auto& [role, member] : ROLES) {
            const Translator* const translator = catalogue.find(profile.*member);
            if (translator != nullptr && faults.count(translator->id) > 0)
                std::cout << "profile " << profile.name << ": its " << role << " translator "
                          << translator->id << " is broken\n";
        }
        for (const UnfilledRole& role : profile.unfilled)
            std::cout << role.place << ": profile " << profile.name << ": " << describe(role)
                      << '\n';
        notOffered += profile.isOffered() ? 0 : 1;
    }
    std::cout << catalogue.translators().size() << " translators and "
              << configuration.profiles.all().size() << " profiles tried, " << faults.size()
              << " translators broken, " << notOffered << " profiles not offered\n";
    return faults.empty() && notOffered == 0 ? 0 : BROKEN;
}
