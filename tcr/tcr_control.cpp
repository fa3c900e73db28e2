#include "tcr/tcr_control.h"

#include <optional>
#include <vector>

#include "tcr/snapshot_json.h"

namespace {

constexpr char kNoAnswer[] = "the central router does not answer";

}  // namespace

std::string TcrControl::Reply(const CTControlRequest& request) {
    const std::string& command = request.GetCommand();
    if (command == "edge remove") return RemoveEdge(request);
    if (command != "status" && command != "subnet list" && command != "fingerprint") {
        return control_error("a central router has no such command");
    }
    if (!m_desk.TakeSnapshot(m_snapshot)) return control_error(kNoAnswer);
    if (command == "fingerprint") return Fingerprint();
    return command == "status" ? tcr_snapshot_json(m_snapshot)
                               : control_print(tcr_subnets_tree(m_snapshot).get());
}

std::string TcrControl::Fingerprint() const {
    if (!m_snapshot.sealed) {
        return control_error(
            "this central router has no sealed channels and no key: \"seal\" in its configuration "
            "turns them on");
    }
    CTJsonTree root(cJSON_CreateObject());
    control_add_number(root.get(), "schema", kTcrSchema);
    control_add_text(root.get(), "program", kTcrProgram);
    control_add_text(root.get(), "key", m_snapshot.sealed->key.Text());
    return control_print(root.get());
}

std::string TcrControl::RemoveEdge(const CTControlRequest& request) {
    std::optional<uint32_t> serial = request.GetNumber("serial");
    if (!serial) return control_error("\"serial\" is not a whole number of 32 bits");
    std::vector<TcrRemovedEdge> removed;
    if (!m_desk.RemoveEdge(*serial, removed)) return control_error(kNoAnswer);
    if (removed.empty()) return control_error("no edge has that serial number");
    CTJsonTree root(cJSON_CreateObject());
    control_add_number(root.get(), "schema", kTcrSchema);
    control_add_text(root.get(), "program", kTcrProgram);
    cJSON* list = control_add_array(root.get(), "removed");
    for (const TcrRemovedEdge& edge : removed) {
        cJSON* object = control_append_object(list);
        control_add_number(object, "identifier", edge.identifier);
        control_add_text(object, "subnet", edge.subnet);
        control_add_known_text(object, "label", edge.label);
    }
    return control_print(root.get());
}
