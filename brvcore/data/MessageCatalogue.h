#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/TString.h"

#include <memory>
#include <optional>
#include <string_view>

// The texts of the user's language, by message identifier. A host that speaks another language than English installs one.
class BRV_EXPORT IMessageCatalogue
{
public:
    virtual ~IMessageCatalogue();

    // Nothing where the catalogue has no such message; the English text stands in. Called on the thread that asks for a
    // text, on several at once.
    virtual std::optional<TString> FindText(std::u16string_view messageId) const = 0;
};

// Installs the process's catalogue and returns the one before it; null (the state at the start) means English. May be
// called while other threads ask for texts: a text that is being looked up still comes from the old catalogue, which lives
// until then.
BRV_EXPORT std::shared_ptr<const IMessageCatalogue> SetMessageCatalogue(
    std::shared_ptr<const IMessageCatalogue> catalogue);

// The text of a message in the user's language.
BRV_EXPORT TString GetMessageText(std::u16string_view messageId, std::u16string_view english);
