#include "ctl/show_status.h"

#include <arpa/inet.h>

#include <bit>

#include "ctl/reply_view.h"
#include "ctl/table.h"
#include "ctl/terminal_text.h"

namespace {

using Align = CtlTable::Align;

CtlStyle StyleOfState(const std::string& state) {
    if (state == "joined" || state == "on" || state == "answers" || state == "written") {
        return CtlStyle::kGood;
    }
    if (state == "joining" || state == "pending") return CtlStyle::kDoubtful;
    if (state == "silent" || state == "failing") return CtlStyle::kBad;
    return CtlStyle::kFaint;
}

// "/24" for a mask; what is none, as it is.
std::string Prefix(const cJSON* object) {
    std::string mask = ctl_text(object, "netmask");
    in_addr addr;
    if (inet_pton(AF_INET, mask.c_str(), &addr) != 1) return " " + mask;
    uint32_t bits = ntohl(addr.s_addr);
    int ones = std::countl_one(bits);
    bool whole = ones == 32 || bits << ones == 0;
    return whole ? "/" + std::to_string(ones) : " " + mask;
}

std::string Identifier(const cJSON* object) {
    double number = ctl_number(object, "identifier");
    return number >= 0 && number <= UINT32_MAX ? ctl_hex(static_cast<uint32_t>(number)) : "-";
}

std::string Title(const std::string& text, bool colour) {
    return ctl_styled(ctl_terminal_text(text), CtlStyle::kHead, colour) + "\n";
}

std::string Program(const cJSON* reply) {
    return ctl_text(reply, "program") + " " + ctl_text(reply, "version") + ", up " +
           ctl_figure(reply, "uptime_seconds", ctl_duration);
}

void TrafficColumns(CtlTable& table, const char* packets, const char* bytes, const char* rate) {
    table.Column(packets, Align::kRight);
    table.Column(bytes, Align::kRight);
    table.Column(rate, Align::kRight);
}

void TrafficCells(CtlTable& table, const cJSON* traffic) {
    table.Cell(ctl_count(traffic, "packets"));
    table.Cell(ctl_figure(traffic, "bytes", ctl_bytes));
    table.Cell(ctl_figure(traffic, "bytes_per_second", ctl_rate));
}

// Those that happened.
std::string Drops(const cJSON* reply, bool colour) {
    CtlTable table(colour);
    table.Column("", Align::kRight);
    table.Column("");
    bool any = false;
    const cJSON* drop = nullptr;
    cJSON_ArrayForEach(drop, ctl_member(reply, "drops")) {
        double count = cJSON_GetNumberValue(drop);
        if (!(count > 0)) continue;
        table.Row();
        table.Cell(ctl_whole(count), CtlStyle::kDoubtful);
        table.Cell(drop->string ? drop->string : "-");
        any = true;
    }
    return "\n" + Title("Dropped", colour) + (any ? table.Text() : "  nothing\n");
}

void Line(CtlTable& table, const char* name, const std::string& value,
          CtlStyle style = CtlStyle::kPlain) {
    table.Row();
    table.Cell(name, CtlStyle::kFaint);
    table.Cell(value, style);
}

std::string Ago(const cJSON* object, const char* key) {
    std::string duration = ctl_figure(object, key, ctl_duration);
    return duration == "-" ? duration : duration + " ago";
}

std::string Address(const cJSON* reply) {
    std::string address = ctl_text(reply, "address");
    if (address == "-") return address;
    return address + Prefix(reply) + ", gateway " + ctl_text(reply, "gateway");
}

std::string Sealed(const cJSON* sealed) {
    return ctl_text(sealed, "cipher") + ", central router " +
           ctl_text(sealed, "central_router_key") + ", own key " + ctl_text(sealed, "key");
}

std::string EdgeHead(const cJSON* reply, bool colour) {
    const cJSON* central = ctl_member(reply, "central_router");
    std::string state = ctl_text(central, "state");
    CtlTable table(colour);
    table.Column("");
    table.Column("");
    Line(table, "address", Address(reply) + ", subnet " + ctl_text(reply, "subnet"));
    Line(table, "identifier", Identifier(reply) + ", serial " + ctl_count(reply, "serial"));
    Line(table, "interface", ctl_text(reply, "interface") + ", MTU " + ctl_count(reply, "mtu"));
    Line(table, "central router",
         ctl_text(central, "endpoint") + ", " + state + ", round trip " +
             ctl_figure(central, "round_trip_ms", ctl_millis) + ", last answer " +
             Ago(central, "answered_seconds"),
         state == "silent" ? CtlStyle::kBad : CtlStyle::kPlain);
    const cJSON* sealed = ctl_member(reply, "sealed");
    if (cJSON_IsObject(sealed)) Line(table, "sealed", Sealed(sealed));
    std::string fault = ctl_text(reply, "join_fault");
    bool failed = fault != "-";
    Line(table, "joined", Ago(reply, "joined_seconds") + (failed ? ", last attempt: " + fault : ""),
         failed ? CtlStyle::kBad : CtlStyle::kPlain);
    return Title(ctl_text(reply, "label") + ": " + Program(reply), colour) + table.Text();
}

std::string Addresses(const cJSON* peer) {
    std::string text;
    const cJSON* address = nullptr;
    cJSON_ArrayForEach(address, ctl_member(peer, "addresses")) {
        const char* ip = cJSON_GetStringValue(address);
        if (ip) text += (text.empty() ? "" : " ") + std::string(ip);
    }
    return text.empty() ? "-" : text;
}

std::string Peers(const cJSON* reply, bool colour) {
    CtlTable table(colour);
    table.Column("Peer");
    table.Column("Address");
    table.Column("Endpoint");
    table.Column("State");
    table.Column("Round trip", Align::kRight);
    TrafficColumns(table, "Sent", "bytes", "rate");
    TrafficColumns(table, "Received", "bytes", "rate");
    const cJSON* peer = nullptr;
    cJSON_ArrayForEach(peer, ctl_member(reply, "peers")) {
        std::string state = ctl_text(peer, "state");
        table.Row();
        table.Cell(ctl_text(peer, "label"));
        table.Cell(Addresses(peer));
        table.Cell(ctl_text(peer, "endpoint"));
        table.Cell(state, StyleOfState(state));
        table.Cell(ctl_figure(peer, "round_trip_ms", ctl_millis));
        TrafficCells(table, ctl_member(peer, "sent"));
        TrafficCells(table, ctl_member(peer, "received"));
    }
    return "\n" + table.Text();
}

std::string YesOrNo(const cJSON* object, const char* key) {
    const cJSON* value = ctl_member(object, key);
    if (!cJSON_IsBool(value)) return "-";
    return cJSON_IsTrue(value) ? "yes" : "no";
}

// Whether they are sealed is said where some may be.
std::string Edges(const cJSON* subnet, bool seals, bool colour) {
    CtlTable table(colour);
    table.Column("Edge");
    table.Column("Serial", Align::kRight);
    table.Column("State");
    table.Column("Since", Align::kRight);
    table.Column("Heard", Align::kRight);
    table.Column("Endpoint");
    if (seals) table.Column("Sealed");
    table.Column("Lease");
    table.Column("Round trip", Align::kRight);
    TrafficColumns(table, "From it", "bytes", "rate");
    TrafficColumns(table, "To it", "bytes", "rate");
    const cJSON* edge = nullptr;
    cJSON_ArrayForEach(edge, ctl_member(subnet, "edges")) {
        std::string state = ctl_text(edge, "state");
        table.Row();
        table.Cell(ctl_text(edge, "label"));
        table.Cell(ctl_count(edge, "serial"));
        table.Cell(state, StyleOfState(state));
        table.Cell(ctl_figure(edge, "since_seconds", ctl_duration));
        table.Cell(ctl_figure(edge, "heard_seconds", ctl_duration));
        table.Cell(ctl_text(edge, "endpoint"));
        if (seals) table.Cell(YesOrNo(edge, "sealed"));
        table.Cell(ctl_text(edge, "lease"));
        table.Cell(ctl_figure(edge, "round_trip_ms", ctl_millis));
        TrafficCells(table, ctl_member(edge, "from_edge"));
        TrafficCells(table, ctl_member(edge, "to_edge"));
    }
    return table.Text();
}

std::string SealCounts(const cJSON* counters) {
    std::string text;
    const cJSON* count = nullptr;
    cJSON_ArrayForEach(count, counters) {
        if (!count->string || !cJSON_IsNumber(count)) continue;
        text += (text.empty() ? "" : ", ") + std::string(count->string) + " " +
                ctl_whole(cJSON_GetNumberValue(count));
    }
    return text;
}

std::string CentralRouter(const cJSON* reply, bool colour) {
    const cJSON* counters = ctl_member(reply, "counters");
    std::string text = Title(Program(reply), colour);
    CtlTable table(colour);
    table.Column("");
    table.Column("");
    std::string state = ctl_text(reply, "state_file");
    Line(table, "state file", state, state == "failing" ? CtlStyle::kBad : CtlStyle::kPlain);
    Line(table, "received",
         ctl_count(counters, "received") + ", relayed " + ctl_count(counters, "relayed") +
             ", answered " + ctl_count(counters, "answered") + ", pings " +
             ctl_count(counters, "pings"));
    const cJSON* sealed = ctl_member(reply, "sealed");
    if (cJSON_IsObject(sealed)) {
        Line(table, "sealed",
             "key " + ctl_text(sealed, "key") + ", channels " + ctl_count(sealed, "channels") +
                 ", strangers " + ctl_count(sealed, "strangers"));
        Line(table, "", SealCounts(ctl_member(sealed, "counters")));
    }
    text += table.Text();
    const cJSON* subnet = nullptr;
    cJSON_ArrayForEach(subnet, ctl_member(reply, "subnets")) {
        text +=
            "\n" + Title("Subnet " + ctl_count(subnet, "index") + " \"" + ctl_text(subnet, "name") +
                             "\", gateway " + ctl_text(subnet, "gateway") + Prefix(subnet) + ", " +
                             std::to_string(cJSON_GetArraySize(ctl_member(subnet, "edges"))) +
                             " of " + ctl_count(subnet, "slots") + " slots taken",
                         colour);
        text += Edges(subnet, cJSON_IsObject(sealed), colour);
    }
    return text;
}

}  // namespace

std::string ctl_show_status(const cJSON* reply, bool colour) {
    bool is_edge = ctl_text(reply, "program") == "tamvo";
    std::string text =
        is_edge ? EdgeHead(reply, colour) + Peers(reply, colour) : CentralRouter(reply, colour);
    return text + Drops(reply, colour);
}

std::string ctl_show_subnets(const cJSON* reply, bool colour) {
    CtlTable table(colour);
    table.Column("Index", Align::kRight);
    table.Column("Subnet");
    table.Column("Gateway");
    table.Column("Netmask");
    for (const char* count : {"Joined", "Joining", "Silent", "Away", "Slots"})
        table.Column(count, Align::kRight);
    table.Column("Lets in");
    const cJSON* subnet = nullptr;
    cJSON_ArrayForEach(subnet, ctl_member(reply, "subnets")) {
        table.Row();
        table.Cell(ctl_count(subnet, "index"));
        table.Cell(ctl_text(subnet, "name"));
        table.Cell(ctl_text(subnet, "gateway"));
        table.Cell(ctl_text(subnet, "netmask"));
        for (const char* count : {"joined", "joining", "silent", "away", "slots"})
            table.Cell(ctl_count(subnet, count));
        table.Cell(cJSON_IsTrue(ctl_member(subnet, "limited")) ? "those listed" : "all");
    }
    return table.Text();
}

std::string ctl_show_removed(const cJSON* reply) {
    std::string text;
    const cJSON* edge = nullptr;
    cJSON_ArrayForEach(edge, ctl_member(reply, "removed")) {
        text += ctl_terminal_text("removed " + Identifier(edge) + " \"" + ctl_text(edge, "label") +
                                  "\" of subnet \"" + ctl_text(edge, "subnet") + "\"") +
                "\n";
    }
    return text;
}
