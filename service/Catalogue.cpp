#include <service/Catalogue.h>

#include <service/CloseNames.h>

#include <set>
#include <utility>

namespace {

// Where a name would do for several.
constexpr std::size_t NOBODY = static_cast<std::size_t>(-1);

std::string withoutSuffix(const std::string& fileName)
{
    return fileName.substr(0, fileName.rfind('.'));
}

} // namespace

Catalogue::Catalogue(std::vector<Translator> installed) : entries(std::move(installed))
{
    makeNamesUnique();
    indexNames();
}

void Catalogue::makeNamesUnique()
{
    std::map<std::string, int> uses;
    for (const Translator& translator : entries)
        ++uses[translator.name];
    for (Translator& translator : entries) {
        if (uses[translator.name] > 1)
            translator.name += " (" + translator.id + ")";
    }
}

void Catalogue::indexNames()
{
    for (std::size_t index = 0; index < entries.size(); ++index)
        indexes.emplace(entries[index].id, index);
    for (std::size_t index = 0; index < entries.size(); ++index)
        indexes.emplace(entries[index].name, index);
    // A table without a name of its own is an old or a special one, and takes
    // nothing from one that has a name.
    indexShortNames([](const Translator& translator) { return translator.name != translator.id; });
    indexShortNames([](const Translator& translator) { return translator.name == translator.id; });
}

void Catalogue::indexShortNames(bool (*isMeant)(const Translator&))
{
    std::map<std::string, std::set<std::size_t>> shortNames;
    for (std::size_t index = 0; index < entries.size(); ++index) {
        const Translator& translator = entries[index];
        if (!isMeant(translator))
            continue;
        shortNames[withoutSuffix(translator.id)].insert(index);
        if (translator.describedFile.empty())
            continue;
        shortNames[translator.describedFile].insert(index);
        shortNames[withoutSuffix(translator.describedFile)].insert(index);
    }
    for (const auto& [name, owners] : shortNames)
        indexes.emplace(name, owners.size() == 1 ? *owners.begin() : NOBODY);
}

const std::vector<Translator>& Catalogue::translators() const
{
    return entries;
}

const Translator* Catalogue::find(const std::string& nameOrId) const
{
    const auto found = indexes.find(nameOrId);
    const bool isKnown = found != indexes.end() && found->second != NOBODY;
    return isKnown ? &entries[found->second] : nullptr;
}

std::vector<std::string> Catalogue::closeTo(const std::string& nameOrId) const
{
    std::vector<Named> candidates;
    candidates.reserve(entries.size());
    for (const Translator& translator : entries)
        candidates.push_back({translator.id, {translator.name, withoutSuffix(translator.id)}});
    return closeNames(nameOrId, candidates);
}
