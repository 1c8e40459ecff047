#include "brvcore/data/MessageCatalogue.h"

#include "brvcore/foundation/HostSlot.h"

namespace
{

HostSlot<const IMessageCatalogue>& Catalogue()
{
    static auto* const catalogue =
        new HostSlot<const IMessageCatalogue>;   // outlives static objects that ask for texts
    return *catalogue;
}

}   // namespace

IMessageCatalogue::~IMessageCatalogue() = default;

std::shared_ptr<const IMessageCatalogue> SetMessageCatalogue(std::shared_ptr<const IMessageCatalogue> catalogue)
{
    return Catalogue().Exchange(std::move(catalogue));
}

TString GetMessageText(std::u16string_view messageId, std::u16string_view english)
{
    if (const std::shared_ptr<const IMessageCatalogue> catalogue = Catalogue().Get())
        if (std::optional<TString> text = catalogue->FindText(messageId))
            return *std::move(text);
    return english;
}
