// A .reg file: what it says, printed, says the same.
#include "RegText.h"

#include "Fuzz.h"

using namespace hostreg;

void fuzz::Try(std::string_view input)
{
    std::vector<RegChange> changes;
    std::vector<RegChange> again;
    RegTextError error;
    if (!ReadRegText(input, changes, error))
    {
        const bool isInside = error.line >= 1 && error.line <= input.size() + 1;
        Require(isInside && !error.message.empty(), "an error says where and what");
        return;
    }
    RegTextWriter writer;
    for (const auto& [kind, name, type, data, line] : changes)
        if (kind == RegChange::Kind::openKey)
            Require(writer.Key(name), "a key that was read can be written");
        else if (kind == RegChange::Kind::setValue)
            writer.Value(name, type, data);
    Require(ReadRegText(writer.Finish(), again, error), "what was written reads", error.message);

    // The writer writes what there is, and not what is to go.
    std::erase_if(changes, [](const RegChange& change) {
        return change.kind == RegChange::Kind::deleteKey || change.kind == RegChange::Kind::deleteValue;
    });
    for (std::vector<RegChange>* list : {&changes, &again})
        for (RegChange& change : *list)
            change.line = 0;
    Require(again == changes, "the changes read as they were written");
}
