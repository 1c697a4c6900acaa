#include "studio/CableRules.hpp"

#include "engine/Catalogue.hpp"
#include "studio/ConnectionError.hpp"
#include "studio/Modular.hpp"

namespace varnolex {

void requireMIDIPorts(const ModularNode& source, const ModularNode& target) {
    using Reason = ConnectionError::Reason;
    if (!toolKind(source.tool->toolType()).hasOutput) throw ConnectionError(Reason::noOutputPort);
    if (!toolKind(target.tool->toolType()).hasInput) throw ConnectionError(Reason::noInputPort);
    if (source.id == target.id) throw ConnectionError(Reason::selfLoop);
}

void requireValuePorts(const ModularNode& source, const ModularNode& target, std::string_view portID) {
    using Reason = ValueConnectionError::Reason;
    if (!source.tool->hasValueOutput()) throw ValueConnectionError(Reason::noValueOutput);
    if (!target.tool->port(portID)) throw ValueConnectionError(Reason::portNotFound);
    if (source.id == target.id) throw ValueConnectionError(Reason::selfLoop);
}

}  // namespace varnolex
