-- Tamvo's tunnel protocol SSTP for Wireshark and tshark, 4.0 or later.
--
-- Copy this file into the folder "Personal Lua Plugins" that Help > About > Folders names,
-- ~/.local/lib/wireshark/plugins on Debian; or: tshark -X lua_script:tamvo.lua ...
--
-- Every message is decoded, replies are linked to their requests, the two halves of a split packet
-- are joined, and what is carried goes on to the dissector of IPv4. The fields begin with "tamvo."
-- ("sstp." belongs to another protocol of that name); docs/protocol.md has the useful filters.
--
-- The file in order: protocol, values, fields, expert information; texts; a walk over the fields of
-- a body; the bodies; the kinds of messages; what a whole capture tells (requests, fragments);
-- carried packets; a message; a datagram; ports and heuristics.
--
-- Datagrams of sealed channels go to the dissector of DTLS. With the secrets of the channels, which
-- it has from its own preferences, what it opens comes back here.
--
-- Nothing of a capture may be believed, and a capture may hold less of a datagram than was sent:
-- whatever is read is compared with what is there before.
--
-- luacheck: std min, max line length 100
-- luacheck: read globals Proto ProtoField ProtoExpert Pref Dissector DissectorTable
-- luacheck: read globals ByteArray NSTime base ftypes frametype expert

-- Loaded twice, as from the package and from somebody's own folder, the first one counts.
local is_first, tamvo = pcall(Proto, "tamvo", "Tamvo SSTP")
if not is_first then return end

tamvo.prefs.ports =
    Pref.range("UDP ports", "1922", "Ports of central routers, as 1922,2000-2010", 65535)

-- Values -----------------------------------------------------------------------------------------

local HEADER = 16
local TEXT = 32
local NOBODY = 0xFFFFFFFF -- the central router, or an edge that has no identifier yet
local SLOTS = 16
local FIRST_FRAGMENT = 1400 -- bytes of one, header included
local MOST_JOINED = 2048
local OLDEST_FRAGMENT = 2 -- seconds
local FARTHEST_FRAGMENT = 4096 -- numbers
local OLDEST_REQUEST = 60 -- seconds in which a reply or a repetition is still one
local DEEPEST = 4 -- tunnels within tunnels
local SEALED_FIRST, SEALED_LAST = 20, 25 -- first bytes of DTLS
local SEALED_VERSION = 0xFE -- the next one, of all its versions
local SEALED_HEADER = 13
local MOST_RECORDS = 128 -- of a sealed train; more than one call of the system sends

local types = {
    [1] = "interior command", [2] = "reply to an interior command",
    [3] = "command", [4] = "reply to a command",
    [5] = "network packet", [6] = "reply to a network packet",
}
local router_stats = { [0] = "idle", [1] = "online" }
local router_types = { [1] = "TAP", [2] = "TUN" }
local layers = { [2] = "Ethernet frames", [3] = "IPv4 packets" }
local device_stats = { [0] = "off", [1] = "on", [2] = "idle" }
local device_types = { [1] = "IPv4", [2] = "IPv6", [3] = "echo" }
local errors = {
    [0] = "none", [1] = "refused", [1001] = "version too low", [1002] = "wrong password",
    [1003] = "unknown subnet, serial number not let in, or no slot left",
}
local login_errors = { [0] = true, [1001] = true, [1002] = true, [1003] = true }
local other_errors = { [0] = true, [1] = true }

-- Fields -----------------------------------------------------------------------------------------

local function frame(name, text, link)
    return ProtoField.framenum(name, text, base.NONE, frametype[link])
end
local f = {
    -- the header
    type = ProtoField.uint8("tamvo.type", "Type", base.DEC, types),
    subtype = ProtoField.uint8("tamvo.subtype", "Sub type", base.DEC),
    seq = ProtoField.uint16("tamvo.seq", "Sequence number", base.DEC),
    length = ProtoField.uint16("tamvo.length", "Length", base.DEC),
    frame_total = ProtoField.uint8("tamvo.frame_total", "Frame total", base.DEC),
    frame_index = ProtoField.uint8("tamvo.frame_index", "Frame index", base.DEC),
    src = ProtoField.uint32("tamvo.src", "Source", base.HEX),
    dst = ProtoField.uint32("tamvo.dst", "Destination", base.HEX),
    -- bodies and records
    tick = ProtoField.uint32("tamvo.tick", "Tick, ms", base.DEC),
    subnet = ProtoField.string("tamvo.subnet", "Subnet", base.UNICODE),
    user = ProtoField.string("tamvo.user", "User name", base.UNICODE),
    password = ProtoField.string("tamvo.password", "User password", base.UNICODE),
    label = ProtoField.string("tamvo.label", "Label", base.UNICODE),
    serial = ProtoField.uint32("tamvo.serial", "Serial number", base.DEC),
    version = ProtoField.uint32("tamvo.version", "Version", base.HEX),
    error = ProtoField.uint32("tamvo.error", "Error", base.DEC, errors),
    identifier = ProtoField.uint32("tamvo.identifier", "Identifier", base.HEX),
    ip = ProtoField.ipv4("tamvo.ip", "IPv4 address"),
    mac = ProtoField.ether("tamvo.mac", "MAC address"),
    gateway = ProtoField.ipv4("tamvo.gateway", "Gateway"),
    mask = ProtoField.ipv4("tamvo.mask", "Network mask"),
    router = ProtoField.none("tamvo.router", "Router"),
    router_stat = ProtoField.uint16("tamvo.router.stat", "Stat", base.DEC, router_stats),
    router_type = ProtoField.uint16("tamvo.router.type", "Router type", base.DEC, router_types),
    layer = ProtoField.uint8("tamvo.router.layer", "Net layer", base.DEC, layers),
    external_ip = ProtoField.ipv4("tamvo.router.ip", "External address"),
    external_port = ProtoField.uint16("tamvo.router.port", "External port", base.DEC),
    device = ProtoField.none("tamvo.device", "Device"),
    device_stat = ProtoField.uint16("tamvo.device.stat", "Stat", base.DEC, device_stats),
    device_type = ProtoField.uint16("tamvo.device.type", "Device type", base.DEC, device_types),
    reserved = ProtoField.bytes("tamvo.reserved", "Reserved"),
    data = ProtoField.bytes("tamvo.data", "Data"),
    trailing = ProtoField.bytes("tamvo.trailing", "Ignored bytes"),
    -- what follows from them
    kind = ProtoField.string("tamvo.kind", "Message"),
    reply_in = frame("tamvo.reply_in", "Reply in", "RESPONSE"),
    request_in = frame("tamvo.request_in", "Request in", "REQUEST"),
    repeat_of = frame("tamvo.repeat_of", "Sent before in", "RETRANS_PREV"),
    repeated_in = frame("tamvo.repeated_in", "Sent again in", "RETRANS_NEXT"),
    rtt = ProtoField.relative_time("tamvo.rtt", "Round-trip time"),
    rtt_first = ProtoField.relative_time("tamvo.rtt_first", "Time since it was first asked"),
    joined_in = frame("tamvo.joined_in", "Joined in", "NONE"),
    joined_with = frame("tamvo.joined_with", "Joined with", "NONE"),
    packet_length = ProtoField.uint32("tamvo.packet_length", "Length of the packet", base.DEC),
}
tamvo.fields = f

-- Expert information -----------------------------------------------------------------------------

local function note(name, text, group, severity)
    return ProtoExpert.new("tamvo." .. name, text, expert.group[group], expert.severity[severity])
end
local e = {
    malformed = note("malformed", "Malformed: a receiver drops it", "MALFORMED", "ERROR"),
    deviation = note("deviation", "Not as the protocol has it", "PROTOCOL", "WARN"),
    refused = note("refused", "Refused", "RESPONSE_CODE", "NOTE"),
    repeated = note("repeated", "Request sent again", "SEQUENCE", "NOTE"),
    unanswered = note("unanswered", "No reply in this capture", "SEQUENCE", "NOTE"),
    unasked = note("unasked", "No request in this capture", "SEQUENCE", "NOTE"),
    answered_again = note("answered_again", "Another reply to one request", "SEQUENCE", "NOTE"),
    alone = note("alone", "The other half is not in this capture", "REASSEMBLE", "WARN"),
    half_again = note("half_again", "The same half again, instead of the one before",
        "REASSEMBLE", "NOTE"),
    reversed = note("reversed", "The first half came first: the receiver joins the two wrongly, " ..
        "and the packet is lost", "REASSEMBLE", "WARN"),
    too_large = note("too_large", "Too large when joined: a receiver drops it",
        "REASSEMBLE", "ERROR"),
    not_ipv4 = note("not_ipv4", "Carries no IPv4 packet", "PROTOCOL", "WARN"),
    nested = note("nested", "Tunnels within tunnels, decoded no further", "UNDECODED", "NOTE"),
    cut = note("cut", "Cut short by the capture", "UNDECODED", "NOTE"),
    train = note("train", "Several datagrams, captured as one", "ASSUMPTION", "CHAT"),
}
for _, field in pairs(e) do tamvo.experts[#tamvo.experts + 1] = field end

-- Texts ------------------------------------------------------------------------------------------

-- Characters that steer what shows them, beyond the control characters of ASCII.
local function steers(code)
    return code < 0xA0 or code == 0xAD or code == 0x61C or (code >= 0x200B and code <= 0x200F) or
        (code >= 0x2028 and code <= 0x202E) or (code >= 0x2060 and code <= 0x206F) or
        (code >= 0xD800 and code <= 0xDFFF) or code == 0xFEFF or code > 0x10FFFF
end

-- The character of UTF-8, of more than one byte, that begins there: its length and code; nil where
-- there is none.
local function utf8_at(text, at)
    local lead = text:byte(at)
    local length = lead >= 0xF0 and 4 or lead >= 0xE0 and 3 or 2
    if lead < 0xC2 or lead > 0xF4 then return nil end
    local code = lead % 2 ^ (7 - length)
    for i = at + 1, at + length - 1 do
        local byte = text:byte(i)
        if not byte or byte < 0x80 or byte > 0xBF then return nil end
        code = code * 64 + byte % 64
    end
    local least = length == 4 and 0x10000 or length == 3 and 0x800 or 0x80
    if code < least then return nil end
    return length, code
end

-- A text of the wire as it may stand on a terminal: control characters and what is no UTF-8 as
-- \xNN, a backslash doubled. Wireshark's own escapes do not cover every way in which a field is
-- shown.
local function printable(text)
    local shown, at = {}, 1
    while at <= #text do
        local byte = text:byte(at)
        local length, code = 1, nil
        if byte >= 0x80 then length, code = utf8_at(text, at) end
        if byte == 0x5C then
            shown[#shown + 1] = "\\\\"
        elseif (byte >= 0x20 and byte < 0x7F) or (code and not steers(code)) then
            shown[#shown + 1] = text:sub(at, at + length - 1)
        else
            length = 1
            shown[#shown + 1] = ("\\x%02x"):format(byte)
        end
        at = at + length
    end
    return table.concat(shown)
end

-- A line of what was read; empty as soon as a part of it was not there.
local function say(format, ...)
    for i = 1, select("#", ...) do
        if select(i, ...) == nil then return "" end
    end
    return format:format(...)
end

local function capitalised(text) return text:sub(1, 1):upper() .. text:sub(2) end

local function whose(identifier)
    if identifier == NOBODY then return "central router, or none yet" end
    return ("subnet %d, slot %d"):format(math.floor(identifier / 256), identifier % 256)
end
local function is_slot(identifier) return identifier % 256 < SLOTS end
local function is_party(identifier) return identifier == NOBODY or is_slot(identifier) end

-- A walk over the fields of a body ---------------------------------------------------------------

-- Each step takes one field off, shows it and returns its value; nil, from then on, when the bytes
-- come to their end.
local Walk = {}
Walk.__index = Walk

function Walk.new(tvb, tree, from, to)
    return setmetatable({ tvb = tvb, tree = tree, at = from, to = to }, Walk)
end

function Walk:left() return self.to - self.at end

function Walk:take(size)
    if self:left() < size then
        self.short = true
        return nil
    end
    if self.short then return nil end
    local range = self.tvb(self.at, size)
    self.at = self.at + size
    return range
end

function Walk:number(field, size, allowed)
    local range = self:take(size)
    if not range then return nil end
    local value = range:uint()
    local item = self.tree:add(field, range)
    if allowed and allowed[value] == nil then
        item:add_proto_expert_info(e.deviation, "No such value: " .. value)
    end
    return value, item
end

-- Of an edge, where it stands in a body.
function Walk:identifier()
    local value, item = self:number(f.identifier, 4)
    if not value then return nil end
    item:append_text(" (" .. whose(value) .. ")")
    if not is_slot(value) then
        item:add_proto_expert_info(e.deviation, "An identifier of no edge")
    end
    return value
end

function Walk:error(allowed)
    local value, item = self:number(f.error, 4, allowed)
    if not value or value == 0 then return value end
    item:add_proto_expert_info(e.refused, "Refused: " .. (errors[value] or "no such error"))
    return value
end

function Walk:version()
    local value, item = self:number(f.version, 4)
    if not value then return nil end
    local major, minor = math.floor(value / 65536), math.floor(value / 256) % 256
    local text = ("%d.%d.%d"):format(major, minor, value % 256)
    item:append_text(" (" .. text .. ")")
    return text
end

function Walk:text(field)
    local range = self:take(TEXT)
    if not range then return nil end
    local bytes = range:raw()
    local text = printable(bytes:match("^[^\0]*"))
    local item = self.tree:add(field, range, text)
    if bytes:find("\0+[^\0]") then
        item:add_proto_expert_info(e.deviation, "A text goes on behind its end")
    end
    return text
end

function Walk:address(field)
    local range = self:take(4)
    if not range then return nil end
    self.tree:add(field, range)
    return ("%d.%d.%d.%d"):format(range:raw():byte(1, 4))
end

function Walk:mac()
    local range = self:take(6)
    if range then self.tree:add(f.mac, range) end
end

function Walk:reserved(size)
    local range = self:take(size)
    if not range then return end
    local item = self.tree:add(f.reserved, range)
    if range:raw():find("[^\0]") then
        item:add_proto_expert_info(e.deviation, "A reserved byte is not 0")
    end
end

-- Records up to the end, each in a branch of its own, or without one: how many, and what they say.
function Walk:list(record, most)
    local count, texts = 0, {}
    local trunk = self.tree
    while not self.short and self:left() >= record.size do
        if record.field then self.tree = trunk:add(record.field, self.tvb(self.at, record.size)) end
        local text = record.read(self)
        if record.field then self.tree:append_text(": " .. text) end
        self.tree = trunk
        count = count + 1
        if #texts < 4 then texts[#texts + 1] = text end
    end
    if count > most then
        trunk:add_proto_expert_info(e.deviation, "Too many records: " .. count)
    end
    if count > #texts then texts[#texts + 1] = "..." end
    return count, table.concat(texts, ", ")
end

-- Bodies -----------------------------------------------------------------------------------------

-- Of each body the bytes that it has at least, those of each further record, and how it is read,
-- which returns what stands in the column Info.

local nothing = { size = 0, read = function() return "" end }

local tick = {
    size = 4,
    read = function(walk)
        local value = walk:number(f.tick, 4)
        return say("tick %d", value)
    end,
}

local login = {
    size = 104,
    read = function(walk)
        local name, user = walk:text(f.subnet), walk:text(f.user)
        walk:text(f.password)
        local serial, version = walk:number(f.serial, 4), walk:version()
        return say('subnet "%s", user "%s", serial %d, version %s', name, user, serial, version)
    end,
}

local function refusal(code)
    return ("refused: %s (%d)"):format(errors[code] or "no such error", code)
end

local login_reply = {
    size = 8,
    read = function(walk)
        local code = walk:error(login_errors)
        -- What stands there counts only without an error.
        if code and code ~= 0 then
            walk:number(f.identifier, 4)
            return refusal(code)
        end
        return say("identifier 0x%08x", walk:identifier())
    end,
}

local dhcp = {
    size = 12,
    read = function(walk)
        local ip = walk:address(f.ip)
        walk:mac()
        walk:reserved(2)
        return say("wishes for %s", ip)
    end,
}

local dhcp_reply = {
    size = 16,
    read = function(walk)
        local code = walk:error(other_errors)
        local gateway, mask, ip = walk:address(f.gateway), walk:address(f.mask), walk:address(f.ip)
        if code and code ~= 0 then return refusal(code) end
        return say("%s, gateway %s, mask %s", ip, gateway, mask)
    end,
}

local subnet = {
    size = 32,
    read = function(walk) return say('"%s"', walk:text(f.subnet)) end,
}

local subnet_reply = {
    size = 40,
    read = function(walk)
        local name = walk:text(f.subnet)
        local gateway, mask = walk:address(f.gateway), walk:address(f.mask)
        return say('"%s", gateway %s, mask %s', name, gateway, mask)
    end,
}

local identifier = {
    size = 4,
    read = function(walk) return say("router 0x%08x", walk:identifier()) end,
}

local router_add = {
    size = 52,
    read = function(walk)
        walk:number(f.router_type, 2, router_types)
        walk:number(f.layer, 1, layers)
        walk:reserved(1)
        local number, serial = walk:identifier(), walk:number(f.serial, 4)
        walk:reserved(2)
        local port, ip = walk:number(f.external_port, 2), walk:address(f.external_ip)
        local label = walk:text(f.label)
        return say('router 0x%08x "%s", serial %d, at %s:%d', number, label, serial, ip, port)
    end,
}

local router_add_reply = {
    size = 4,
    read = function(walk)
        local code = walk:error(other_errors)
        return code and code ~= 0 and refusal(code) or ""
    end,
}

local router_record = {
    size = 20,
    field = f.router,
    read = function(walk)
        walk:number(f.router_stat, 2, router_stats)
        walk:number(f.router_type, 2, router_types)
        walk:number(f.layer, 1, layers)
        walk:reserved(1)
        local port, ip = walk:number(f.external_port, 2), walk:address(f.external_ip)
        local number, serial = walk:identifier(), walk:number(f.serial, 4)
        return say("0x%08x, serial %d, at %s:%d", number, serial, ip, port)
    end,
}

local device_record = {
    size = 14,
    field = f.device,
    read = function(walk)
        walk:number(f.device_stat, 2, device_stats)
        walk:number(f.device_type, 2, device_types)
        local ip = walk:address(f.ip)
        walk:mac()
        return ip
    end,
}

local address_record = { size = 4, read = function(walk) return walk:address(f.ip) end }

local function counted(count, one, texts)
    local many = one == "address" and "addresses" or one .. "s"
    if count == 0 then return "no " .. many end
    return ("%d %s: %s"):format(count, count == 1 and one or many, texts)
end

local function list_of(record, one, most)
    return {
        size = 0,
        each = record.size,
        read = function(walk)
            local count, texts = walk:list(record, most)
            return counted(count, one, texts)
        end,
    }
end

-- The same behind the identifier of the router.
local function list_at(record, one, most)
    local list = list_of(record, one, most)
    return {
        size = 4,
        each = record.size,
        read = function(walk)
            local number = walk:identifier()
            return number and ("router 0x%08x, %s"):format(number, list.read(walk)) or ""
        end,
    }
end

local routers = list_of(router_record, "router", 32)
local devices = list_of(device_record, "device", 32)
local devices_of_router = list_at(device_record, "device", 64)
local addresses_of_router = list_at(address_record, "address", 32)

-- Kinds of messages ------------------------------------------------------------------------------

-- By type of the request and sub type.
local kinds = {
    [1] = {
        [2] = { name = "heartbeat", request = tick, reply = tick },
    },
    [3] = {
        [2] = { name = "echo", request = nothing, reply = nothing },
        [3] = { name = "login", request = login, reply = login_reply },
        [4] = { name = "logout", request = nothing, reply = nothing },
        [5] = { name = "dhcp", request = dhcp, reply = dhcp_reply },
        [6] = { name = "subnet", request = subnet, reply = subnet_reply },
        [8] = { name = "peer heartbeat", request = tick, reply = tick },
        [10] = { name = "router add", request = router_add, reply = router_add_reply },
        [12] = { name = "router del", request = identifier, reply = nothing },
        [14] = { name = "router get", request = nothing, reply = routers },
        [16] = { name = "device add", request = devices_of_router, reply = nothing },
        [17] = { name = "device del", request = addresses_of_router, reply = nothing },
        [18] = { name = "device get", request = identifier, reply = devices },
    },
}
-- What has a name, and is ignored wherever it arrives.
local ignored = {
    [1] = { [12] = "peer echo" },
    [2] = { [12] = "peer echo reply" },
    [6] = { [0] = "network packet reply" },
}

-- Name and body of a message of a type and sub type that is sent; nil for any other. A network
-- packet has a name and no body that would be ours.
local function kind_of(kind_type, sub)
    if kind_type == 5 then return sub == 0 and "network packet" or nil end
    local is_reply = kind_type % 2 == 0
    local kind = (kinds[is_reply and kind_type - 1 or kind_type] or {})[sub]
    if not kind then return nil end
    return kind.name .. (is_reply and " reply" or ""), is_reply and kind.reply or kind.request
end

-- What a whole capture tells ---------------------------------------------------------------------

-- Wireshark goes through a capture once in its order and then shows frames as it likes. What was
-- learned the first time stands in "known", by message.
local known, requests, waiting, flows, edges, claimed

local function forget()
    known = {} -- message: what is known of it
    requests = {} -- sender and number: the latest request
    waiting = {} -- sender and number: half a packet
    flows = {} -- sender: how far its numbers of network packets went
    edges = {} -- address and port of who has spoken the protocol
    claimed = {} -- frames that the heuristics took
end
tamvo.init = forget
forget()

-- The bytes behind a message's header; nil where the capture has not all of them.
local function body_of(m)
    if m.stop < m.at + m.size then return nil end
    return m.stop > m.start and m.tvb:raw(m.start, m.stop - m.start) or ""
end

-- Whether a request is repeated, and by what; whether a reply has a request.
local function follow_request(m, now)
    local key = table.concat({ m.from, m.type, m.seq, m.src }, "/")
    local before = requests[key]
    local request = { of = now, frame = m.frame, time = m.time, first = m.time, sub = m.sub }
    request.body = body_of(m)
    if before and before.sub == m.sub and before.body == request.body and
        m.time - before.time <= OLDEST_REQUEST then
        now.repeat_of = before.frame
        before.of.repeated_in = m.frame
        request.first = before.first
        request.answered = before.answered
    end
    requests[key] = request
end

local function follow_reply(m, now)
    local request = requests[table.concat({ m.to, m.type - 1, m.seq, m.dst }, "/")]
    if not request or m.time - request.time > OLDEST_REQUEST then return end
    now.request_in = request.frame
    now.rtt = m.time - request.time
    if request.first ~= request.time then now.rtt_first = m.time - request.first end
    now.other_sub = request.sub ~= m.sub
    now.again = request.answered
    request.answered = true
    request.of.reply_in = request.of.reply_in or m.frame
end

-- How many numbers the sender's network packets have gone on, those that were lost included.
local function progress(m)
    local flow = m.from .. "/" .. m.src
    local before = flows[flow] or { seq = m.seq, count = 0 }
    local ahead = (m.seq - before.seq) % 65536
    if ahead < 32768 then before = { seq = m.seq, count = before.count + ahead } end
    flows[flow] = before
    return before.count
end

-- Half a packet waits for the other one of the same sender and number, or is joined with it.
local function follow_fragment(m, now)
    local key = table.concat({ m.from, m.src, m.seq }, "/")
    local half = { of = now, frame = m.frame, time = m.time, count = progress(m) }
    half.second = m.index ~= 0
    local other = waiting[key]
    if other and (half.time - other.time > OLDEST_FRAGMENT or
        half.count - other.count > FARTHEST_FRAGMENT) then other = nil end
    if other and other.second == half.second then
        now.half_again = true
        other = nil
    end
    if not other then
        half.body = body_of(m)
        waiting[key] = half
        return
    end
    waiting[key] = nil
    other.of.joined_in = m.frame
    now.joined_with = other.frame
    now.reversed = half.second
    now.other_body = other.body
end

-- What is known of a message, learned when it is seen for the first time.
local function know(m, pinfo)
    if pinfo.visited then return known[m.id] or {} end
    local now = { follows = true }
    if m.type == 5 and m.total == 0 then
        progress(m)
        return now
    end
    known[m.id] = now
    if m.type == 5 then
        follow_fragment(m, now)
    elseif m.type == 1 or m.type == 3 then
        follow_request(m, now)
    elseif m.type == 2 or m.type == 4 then
        follow_reply(m, now)
    end
    return now
end

local function add_time(tree, field, seconds)
    local whole = math.floor(seconds)
    tree:add(field, NSTime.new(whole, math.floor((seconds - whole) * 1e9 + 0.5))):set_generated()
end

local function add_frame(tree, field, number)
    if number then tree:add(field, number):set_generated() end
end

-- Shows how requests and replies belong together; returns what of it stands in the column Info.
local function show_exchange(m, now, tree, pinfo)
    if m.type % 2 == 1 then
        add_frame(tree, f.repeat_of, now.repeat_of)
        add_frame(tree, f.repeated_in, now.repeated_in)
        add_frame(tree, f.reply_in, now.reply_in)
        if now.repeat_of then tree:add_proto_expert_info(e.repeated) end
        if pinfo.visited and not now.reply_in and not now.repeated_in then
            tree:add_proto_expert_info(e.unanswered)
        end
        return say(" (reply in %d)", now.reply_in)
    end
    add_frame(tree, f.request_in, now.request_in)
    if not now.request_in then
        tree:add_proto_expert_info(e.unasked)
        return ""
    end
    add_time(tree, f.rtt, now.rtt)
    if now.rtt_first then add_time(tree, f.rtt_first, now.rtt_first) end
    if now.other_sub then
        tree:add_proto_expert_info(e.deviation, "Answers a request of another sub type")
    end
    if now.again then tree:add_proto_expert_info(e.answered_again) end
    return say(" (request in %d)", now.request_in)
end

-- Carried packets --------------------------------------------------------------------------------

local ip_dissector = Dissector.get("ip")
local dtls_dissector = Dissector.get("dtls")
local depth = 0 -- tunnels around the one that is looked at

-- Hands a packet to the dissector of IPv4. That of a packet that is cut or malformed shows itself
-- what is wrong, and then raises an error here, which is none of ours.
local function hand_on(tvb, pinfo, tree, root)
    if tvb:len() == 0 then return end
    if tvb(0, 1):bitfield(0, 4) ~= 4 then
        tree:add(f.data, tvb())
        tree:add_proto_expert_info(e.not_ipv4)
        return
    end
    if depth >= DEEPEST then
        tree:add(f.data, tvb())
        tree:add_proto_expert_info(e.nested)
        return
    end
    depth = depth + 1
    pcall(ip_dissector.call, ip_dissector, tvb, pinfo, root)
    depth = depth - 1
end

-- The two halves in the order of the packet; nil where the capture has not all of them.
local function joined_packet(m, now)
    local first, second = body_of(m), now.other_body
    if not first or not second then return nil end
    if m.index ~= 0 then first, second = second, first end
    return ByteArray.new(first .. second, true)
end

local function show_fragment(m, now, pinfo, tree, root)
    local half = m.index == 0 and "first half" or "second half"
    pinfo.cols.info:append((", %s%s"):format(half, say(", joined in %d", now.joined_in)))
    add_frame(tree, f.joined_in, now.joined_in)
    add_frame(tree, f.joined_with, now.joined_with)
    if m.stop > m.start then tree:add(f.data, m.tvb(m.start, m.stop - m.start)) end
    if now.half_again then tree:add_proto_expert_info(e.half_again) end
    if pinfo.visited and now.follows and not now.joined_in and not now.joined_with then
        tree:add_proto_expert_info(e.alone)
    end
    if not now.joined_with then return end
    if now.reversed then tree:add_proto_expert_info(e.reversed) end
    local packet = joined_packet(m, now)
    if not packet or packet:len() == 0 then return end
    if packet:len() + HEADER > MOST_JOINED then tree:add_proto_expert_info(e.too_large) end
    tree:add(f.packet_length, packet:len()):set_generated()
    hand_on(packet:tvb("Joined packet"), pinfo, tree, root)
end

local function show_packet(m, now, pinfo, tree, root)
    if m.size <= HEADER then tree:add_proto_expert_info(e.deviation, "An empty packet") end
    if m.total ~= 0 then return show_fragment(m, now, pinfo, tree, root) end
    if m.stop <= m.start then return end
    tree:add(f.packet_length, m.size - HEADER):set_generated()
    hand_on(m.tvb(m.start, m.stop - m.start):tvb(), pinfo, tree, root)
end

-- A message --------------------------------------------------------------------------------------

local opened -- messages of the sealed datagram that is being opened, and in which depth that is

local function add_party(tree, field, range)
    local value = range:uint()
    local item = tree:add(field, range)
    item:append_text(" (" .. whose(value) .. ")")
    if not is_party(value) then
        item:add_proto_expert_info(e.deviation, "An identifier of nobody")
    end
end

local function number(a, b, c, d) return ((a * 256 + b) * 256 + c) * 256 + d end

-- A header, all of whose bytes are there.
local function read_header(tvb, at)
    local kind, sub, s1, s2, l1, l2, total, index, f1, f2, f3, f4, t1, t2, t3, t4 =
        tvb:raw(at, HEADER):byte(1, HEADER)
    return {
        tvb = tvb,
        at = at,
        start = at + HEADER,
        type = kind,
        sub = sub,
        seq = s1 * 256 + s2,
        length = l1 * 256 + l2,
        total = total,
        index = index,
        src = number(f1, f2, f3, f4),
        dst = number(t1, t2, t3, t4),
    }
end

-- A fault for which a receiver drops the message.
local function malformed(m, item, text)
    item:add_proto_expert_info(e.malformed, text)
    m.malformed = true
end

local function show_length(m, tree, available)
    local item = tree:add(f.length, m.tvb(m.at + 4, 2))
    if m.length < HEADER then
        malformed(m, item, "Shorter than the header")
    elseif m.length > available then
        malformed(m, item, ("Longer than the datagram of %d bytes"):format(available))
    elseif m.length < available then
        item:add_proto_expert_info(e.deviation,
            ("Shorter than the datagram of %d bytes"):format(available))
    end
end

local function show_frame_fields(m, tree)
    local item = tree:add(f.frame_total, m.tvb(m.at + 6, 1))
    if m.total ~= 0 and m.total ~= 2 then
        item:add_proto_expert_info(e.deviation, "No such value: " .. m.total)
    end
    if m.total ~= 0 and m.type ~= 5 then
        item:add_proto_expert_info(e.deviation, "A fragment of no packet")
    end
    item = tree:add(f.frame_index, m.tvb(m.at + 7, 1))
    if m.index > 1 then item:add_proto_expert_info(e.deviation, "No such value: " .. m.index) end
    if m.index > m.total then
        item:add_proto_expert_info(e.deviation, "An index of no fragment")
    end
end

local function show_header(m, tree, available)
    tree:add(f.type, m.tvb(m.at, 1))
    tree:add(f.subtype, m.tvb(m.at + 1, 1)):append_text(" (" .. m.name .. ")")
    tree:add(f.seq, m.tvb(m.at + 2, 2))
    show_length(m, tree, available)
    show_frame_fields(m, tree)
    add_party(tree, f.src, m.tvb(m.at + 8, 4))
    add_party(tree, f.dst, m.tvb(m.at + 12, 4))
end

local function show_body(m, tree)
    local size = m.size - HEADER
    local walk = Walk.new(m.tvb, tree, m.start, m.stop)
    local text = m.body.read(walk)
    local rest = walk:left() > 0 and m.tvb(walk.at, walk:left())
    if size < m.body.size then
        malformed(m, tree, ("A body of %d bytes instead of %d"):format(size, m.body.size))
    elseif rest and m.stop == m.at + m.size then
        tree:add(f.trailing, rest):add_proto_expert_info(e.deviation,
            m.body.each and "Too short for a record" or "More bytes than the message has")
        return text
    end
    if rest then tree:add(f.data, rest) end
    return text
end

-- What is in the datagram behind the message.
local function show_rest(m, tree, available)
    local to = math.min(m.at + available, m.tvb:len())
    if m.length >= HEADER and m.stop < to then
        tree:add(f.trailing, m.tvb(m.stop, to - m.stop))
    end
end

-- A message with a body of ours.
local function show_control(m, pinfo, tree)
    local text = show_body(m, tree)
    if text ~= "" then
        tree:append_text(", " .. text)
        pinfo.cols.info:append(", " .. text)
    end
    -- What a receiver drops at once belongs to nothing.
    if m.malformed then return end
    pinfo.cols.info:append(show_exchange(m, know(m, pinfo), tree, pinfo))
end

-- Name and body, and what is wrong with a message that has none.
local function show_kind(m, tree)
    if m.name then return end
    m.name = (ignored[m.type] or {})[m.sub]
    if m.name then
        tree:add_proto_expert_info(e.deviation, "Ignored wherever it arrives")
        return
    end
    m.name = "unknown"
    malformed(m, tree, "No such message")
end

-- A header of which not all is there.
local function show_stump(tvb, at, available, pinfo, root)
    local tree = root:add(tamvo, tvb(at))
    tree:add(f.data, tvb(at))
    if available >= HEADER then
        tree:add_proto_expert_info(e.cut)
        return
    end
    pinfo.cols.info:append("Malformed")
    tree:add_proto_expert_info(e.malformed,
        ("A datagram of %d bytes, shorter than the header"):format(available))
end

-- A message whose datagram begins there and has so many bytes, of which the capture may have less.
local function show_message(tvb, at, available, road, pinfo, root)
    if tvb:len() - at < HEADER then return show_stump(tvb, at, available, pinfo, root) end
    local m = read_header(tvb, at)
    m.from, m.to, m.frame, m.time = road.from, road.to, pinfo.number, pinfo.rel_ts
    -- There may be several in a frame: in a train, sealed each by itself, and in one another.
    local nest = pinfo.number * (DEEPEST + 1) + depth
    m.id = (nest * MOST_RECORDS + road.record % MOST_RECORDS) * 65536 + tvb:offset() + at
    m.size = math.max(HEADER, math.min(m.length, available))
    m.stop = math.min(at + m.size, tvb:len())
    m.name, m.body = kind_of(m.type, m.sub)

    local tree = root:add(tamvo, tvb(at, math.min(available, tvb:len() - at)))
    show_kind(m, tree)
    local title = ("%s, seq %d"):format(capitalised(m.name), m.seq)
    tree:append_text(", " .. title)
    pinfo.cols.info:append(title)
    tree:add(f.kind, m.name):set_generated()
    show_header(m, tree, available)
    if m.stop < at + m.size then tree:add_proto_expert_info(e.cut) end
    if m.name == "network packet" then
        show_packet(m, m.malformed and {} or know(m, pinfo), pinfo, tree, root)
    elseif m.body then
        show_control(m, pinfo, tree)
    elseif m.stop > m.start then
        tree:add(f.data, tvb(m.start, m.stop - m.start))
    end
    show_rest(m, tree, available)
    if m.malformed then pinfo.cols.info:append(", malformed") end
end

-- A datagram -------------------------------------------------------------------------------------

-- Who sends to whom.
local function endpoints(pinfo)
    return tostring(pinfo.src) .. " " .. pinfo.src_port,
        tostring(pinfo.dst) .. " " .. pinfo.dst_port
end

-- Whether that is the body of an IPv4 packet that fills a message.
local function is_ipv4(tvb, at, size)
    if size < 20 then return false end
    if tvb:len() < at + 4 then return true end
    return tvb(at, 1):bitfield(0, 4) == 4 and tvb(at + 2, 2):uint() == size
end

-- Whether a message of exactly that size begins there, with all that can be seen of it as the
-- protocol has it. 56 bits of a header have to be right for that, so nothing else passes for one.
local function is_message(tvb, at, size)
    if size < HEADER or tvb:len() < at + HEADER then return false end
    local m = read_header(tvb, at)
    local name, body = kind_of(m.type, m.sub)
    if not name or m.length ~= size then return false end
    if not is_party(m.src) or not is_party(m.dst) then return false end
    local rest = size - HEADER
    if m.type == 5 and m.total == 2 then
        return (m.index == 0 and size == FIRST_FRAGMENT) or (m.index == 1 and rest > 0)
    end
    if m.total ~= 0 or m.index ~= 0 then return false end
    if not body then return is_ipv4(tvb, m.start, rest) end
    rest = rest - body.size
    return rest == 0 or (rest > 0 and body.each ~= nil and rest % body.each == 0)
end

-- A host that hands its card several datagrams in one call captures them as one: all of one size
-- but the last, which may be shorter. Returns that size; nil where it is one datagram.
local function size_in_train(tvb)
    local total, seen = tvb:reported_len(), tvb:len()
    if seen < HEADER then return nil end
    local size = tvb(4, 2):uint()
    if size < HEADER or size >= total or size + HEADER > seen then return nil end
    for at = 0, total - 1, size do
        if at + HEADER > seen then break end
        if not is_message(tvb, at, math.min(size, total - at)) then return nil end
    end
    return size
end

local function is_sound(tvb)
    return size_in_train(tvb) ~= nil or is_message(tvb, 0, tvb:reported_len())
end

-- Whether that is a datagram of a sealed channel: the kinds of DTLS records begin where those of
-- messages have ended, and a version follows.
local function is_sealed(tvb)
    if tvb:len() < SEALED_HEADER then return false end
    local kind, major = tvb:raw(0, 2):byte(1, 2)
    return kind >= SEALED_FIRST and kind <= SEALED_LAST and major == SEALED_VERSION
end

-- A datagram from one end to the other; where it was sealed, its number among those of its frame
-- that were opened, else 0.
local function show_datagram(tvb, from, to, record, pinfo, root)
    local road = { from = from .. " > " .. to, to = to .. " > " .. from, record = record }
    if not pinfo.visited and not (edges[from] and edges[to]) and is_sound(tvb) then
        edges[from], edges[to] = true, true
    end
    local total, train = tvb:reported_len(), size_in_train(tvb)
    if not train then
        show_message(tvb, 0, total, road, pinfo, root)
        return tvb:len()
    end
    for at = 0, tvb:len() - 1, train do
        if at > 0 then pinfo.cols.info:append(" | ") end
        show_message(tvb, at, math.min(train, total - at), road, pinfo, root)
        pinfo.cols.info:fence()
    end
    root:add_proto_expert_info(e.train,
        ("%d datagrams, captured as one"):format(math.ceil(total / train)))
    return tvb:len()
end

-- One datagram of a sealed channel, or several that were captured as one. What is opened of them
-- comes back one by one and is shown when the dissector of DTLS is done with all: a packet that is
-- carried changes what the frame says of its ports, by which that dissector knows the channel.
local function show_sealed(tvb, pinfo, root)
    local from, to = endpoints(pinfo)
    local outer = opened
    opened = { depth = depth }
    pcall(dtls_dissector.call, dtls_dissector, tvb, pinfo, root)
    local messages = opened
    opened = outer
    if #messages == 0 then return end
    pinfo.cols.protocol = "Tamvo"
    pinfo.cols.info = ""
    for record, message in ipairs(messages) do
        if record > 1 then pinfo.cols.info:append(" | ") end
        show_datagram(message, from, to, record, pinfo, root)
        pinfo.cols.info:fence()
    end
end

function tamvo.dissector(tvb, pinfo, root)
    if opened and opened.depth == depth then
        opened[#opened + 1] = tvb
    elseif is_sealed(tvb) then
        show_sealed(tvb, pinfo, root)
    elseif tvb:len() > 0 then
        local from, to = endpoints(pinfo)
        pinfo.cols.protocol = "Tamvo"
        pinfo.cols.info = ""
        show_datagram(tvb, from, to, 0, pinfo, root)
    end
    return tvb:len()
end

-- Ports and heuristics ---------------------------------------------------------------------------

-- Edges speak from ports that the system chooses, to each other too. So a datagram of no port of
-- ours is one as well if all of it is as the protocol has it, or if one of its ends has sent or got
-- such a datagram before; the latter is how malformed ones are seen.
tamvo:register_heuristic("udp", function(tvb, pinfo, root)
    local id = pinfo.number * (DEEPEST + 1) + depth
    if not pinfo.visited then
        local from, to = endpoints(pinfo)
        claimed[id] = edges[from] or edges[to] or is_sound(tvb) or nil
    end
    if not claimed[id] then return false end
    tamvo.dissector(tvb, pinfo, root)
    return true
end)

local tables = { DissectorTable.get("udp.port"), DissectorTable.get("dtls.port") }
local ports = ""

local function listen()
    for _, ports_of in ipairs(tables) do
        if ports ~= "" then ports_of:remove(ports, tamvo) end
        if tamvo.prefs.ports ~= "" then ports_of:add(tamvo.prefs.ports, tamvo) end
    end
    ports = tamvo.prefs.ports
end
tamvo.prefs_changed = listen
listen()
