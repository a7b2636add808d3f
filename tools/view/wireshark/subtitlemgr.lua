-- Wireshark's dissector of the captures that SubtitleMgrView makes, see docs/wire-format.md.

local protocol = Proto("subtitle", "Subtitle Service")

local prefix_size = 20
local header_size = 16
local largest_payload = 16 * 1024 * 1024
local not_recorded = 0xFFFFFFFF

local request, reply, notification, one_way = 1, 2, 3, 4
local kinds = {"request", "reply", "notification", "one-way"}
local results = {[0] = "accepted", "refused"}
local recorded_results = {[0] = "ok", "refused", "unanswered"}
local formats = {[0] = "HD", "SD", "CIF"}
local sensors = {[0] = "Brakes", "Lights", "Siren", "Aux", "Crash", "Mics"}
local subscriptions = {
    [1] = "bitmaps in every format",
    [2] = "HD bitmaps",
    [3] = "SD bitmaps",
    [4] = "CIF bitmaps",
    [6] = "visibility",
    [10] = "palettes",
    [12] = "bitmaps in other formats",
}

-- Number, name, kind, the parts of the payload, and those of the reply.
local bitmap = "region_id format size"
local visibility = "region_id visible"
local palette = "region_id background_code fill size"
local rows = {
    {0x3B00, "Quit", one_way, ""},
    {0x3B01, "Ping", request, "", ""},
    {0x3B19, "RegionData", notification, bitmap},
    {0x3B1C, "RegionVisibility", notification, visibility},
    {0x3B1D, "Palette", notification, palette},
    {0x3C00, "Subscribe", request, "subscription item_id", "result"},
    {0x3C02, "Unsubscribe", request, "subscription", "result"},
    {0x3C04, "SetRegionData", request, bitmap, "result"},
    {0x3C06, "SetRegionVisibility", request, visibility, "result"},
    {0x3C08, "SetPaletteData", request, palette, "result"},
    {0x3C0A, "InvertRegionData", request, "any_region_id", "result"},
    {0x3C0C, "RefreshRegions", request, "", "result"},
    {0x3C0E, "SendSensorUpdate", request, "sensor on", "result"},
    {0x3C10, "GetLogLevel", request, "", "result level"},
    {0x3C12, "SetLogLevel", request, "level", "result"},
    {0x3CFF, "NotUnderstood", reply, ""},
}

local messages = {}
local message_names = {}

local function add_message(id, name, kind, parts)
    messages[id] = {kind = kind, parts = parts}
    message_names[id] = name
end

for _, row in ipairs(rows) do
    local id, name, kind, payload, reply_payload = table.unpack(row)
    add_message(id, name, kind, payload)
    if reply_payload then
        add_message(id + 1, name .. " reply", reply, reply_payload)
    end
end

local fields = {}

local function add_number(name, label, values, display)
    fields[name] = ProtoField.uint32("subtitle." .. name, label, display or base.DEC, values)
end

-- What a recording has and a frame has not.
add_number("line", "Line of the recording")
fields.mono_us = ProtoField.uint64("subtitle.mono_us", "Monotonic clock in microseconds")
add_number("client", "Client")
add_number("receivers", "Receivers")
add_number("recorded_result", "Recorded result", recorded_results)

fields.mark = ProtoField.string("subtitle.mark", "Mark")
add_number("version", "Version")
add_number("kind", "Kind", kinds)
add_number("message", "Message", message_names, base.HEX)
add_number("correlation", "Correlation")
add_number("length", "Length of the payload")
fields.payload = ProtoField.bytes("subtitle.payload", "Payload")
fields.data = ProtoField.bytes("subtitle.data", "Data")

-- Parts of payloads, with their words in the column Info.
local parts = {}

local function add_part(name, label, part_size, words, values, display)
    add_number(name, label, values, display)
    parts[name] = {field = fields[name], size = part_size, words = words, values = values}
end

local function add_flag(name, label, when_true, when_false)
    fields[name] = ProtoField.bool("subtitle." .. name, label, base.NONE, {when_true, when_false})
    local words = setmetatable({[0] = when_false}, {__index = function() return when_true end})
    parts[name] = {field = fields[name], size = 1, words = "%s", values = words}
end

add_part("region_id", "Region", 1, "region %s")
parts.any_region_id = {field = fields.region_id, size = 4, words = "region %s"}
add_part("format", "Format", 1, "format %s", formats)
add_part("background_code", "Background code", 1, "background %s")
add_part("size", "Size", 4, "%s bytes")
add_part("subscription", "Subscription", 4, "%s", subscriptions)
add_part("item_id", "Item", 4, "item %s", message_names, base.HEX)
add_part("sensor", "Sensor", 4, "sensor %s", sensors)
add_part("result", "Result", 4, "%s", results)
add_part("level", "Log level", 4, "level %s")
add_flag("visible", "Visible", "visible", "hidden")
add_flag("fill", "Fill", "filled", "not filled")
add_flag("on", "On", "on", "off")

for _, known in pairs(messages) do
    local names = known.parts
    known.parts = {}
    known.size = 0  -- without data
    for name in names:gmatch("%S+") do
        table.insert(known.parts, parts[name])
        known.size = known.size + parts[name].size
    end
    known.has_data = names:find("size") ~= nil
end

local group, severity = expert.group, expert.severity
local experts = {
    malformed = ProtoExpert.new("subtitle.malformed", "Malformed", group.MALFORMED, severity.ERROR),
    unknown = ProtoExpert.new("subtitle.unknown", "Unknown", group.UNDECODED, severity.WARN),
    other_kind = ProtoExpert.new("subtitle.other_kind", "Kind", group.PROTOCOL, severity.WARN),
    cut = ProtoExpert.new("subtitle.cut", "Cut", group.UNDECODED, severity.NOTE),
    refused = ProtoExpert.new("subtitle.refused", "Refused", group.RESPONSE_CODE, severity.NOTE),
    unanswered =
        ProtoExpert.new("subtitle.unanswered", "Unanswered", group.RESPONSE_CODE, severity.WARN),
}

protocol.fields = fields
protocol.experts = experts

-- Why a payload of `length` bytes, of which `bytes` were captured, is not one of this message.
local function mistake_in(known, bytes, length)
    if length < known.size or (length > known.size and not known.has_data) then
        return string.format("the payload has %d bytes, not %d", length, known.size)
    end
    if known.has_data and bytes:len() >= known.size then
        local count = bytes(known.size - 4, 4):uint()
        if count ~= length - known.size then
            return string.format("the size is %d, and %d bytes follow", count, length - known.size)
        end
    end
end

-- Shows the parts of a payload. Returns them in words.
local function show_parts(known, bytes, tree)
    local words = {}
    local at = 0
    for _, part in ipairs(known.parts) do
        if at + part.size > bytes:len() then
            return words
        end
        local range = bytes(at, part.size)
        local value = range:uint()
        tree:add(part.field, range)
        if part.field == fields.result and value == 1 then
            tree:add_proto_expert_info(experts.refused, "The service refused the request")
        end
        table.insert(words, string.format(part.words, part.values and part.values[value] or value))
        at = at + part.size
    end
    if known.has_data and at < bytes:len() then
        tree:add(fields.data, bytes(at))
    end
    return words
end

-- Why no frame begins with these bytes, of which the header was captured.
local function mistake_in_header(bytes)
    local kind, length = bytes(3, 1):uint(), bytes(12, 4):uint()
    return bytes(0, 2):string() ~= "ST" and "not a frame"
        or bytes(2, 1):uint() ~= 1 and "a frame of another version"
        or not kinds[kind] and "a frame of an unknown kind"
        or length > largest_payload and "a frame that claims more than 16 MiB"
end

local function show_header(bytes, tree)
    tree:add(fields.mark, bytes(0, 2))
    tree:add(fields.version, bytes(2, 1))
    tree:add(fields.kind, bytes(3, 1))
    tree:add(fields.message, bytes(4, 4))
    tree:add(fields.correlation, bytes(8, 4))
    tree:add(fields.length, bytes(12, 4))
end

-- Shows the payload of a message. Returns its words.
local function show_payload(id, kind, bytes, length, tree)
    local known = messages[id]
    local mistake = known and mistake_in(known, bytes, length)
    local words = {}
    if not known then
        tree:add_proto_expert_info(experts.unknown, "The message number is unknown")
    elseif mistake then
        tree:add_proto_expert_info(experts.malformed, "Malformed: " .. mistake)
        words = {"malformed: " .. mistake}
    else
        words = show_parts(known, bytes, tree)
    end
    if bytes:len() > 0 and (not known or mistake) then
        tree:add(fields.payload, bytes)
    end
    if known and known.kind ~= kind then
        tree:add_proto_expert_info(experts.other_kind, "It should be: " .. kinds[known.kind])
    end
    return words
end

-- Shows the frame at the beginning of the bytes, of which `size` are in the packet.
-- Returns the size of the frame, nil if no frame follows, then its text and kind.
local function show_frame(bytes, size, root)
    local tree = root:add(protocol, bytes())
    local mistake = size < header_size and "a part of a header"
        or bytes:len() >= header_size and mistake_in_header(bytes)
    if mistake then
        tree:add_proto_expert_info(experts.malformed, "Malformed: " .. mistake)
        return nil, "malformed: " .. mistake
    elseif bytes:len() < header_size then
        return nil, "a frame"
    end
    show_header(bytes, tree)
    local kind, id, correlation = bytes(3, 1):uint(), bytes(4, 4):uint(), bytes(8, 4)
    local length = bytes(12, 4):uint()
    if length > size - header_size then
        tree:add_proto_expert_info(experts.malformed, "Malformed: longer than the packet")
        return nil, "malformed: longer than the packet"
    end
    if kind == notification then
        tree:add(fields.subscription, correlation):set_generated()
    end
    local payload = bytes(header_size, math.min(length, bytes:len() - header_size))
    local name = message_names[id] or string.format("message 0x%04X", id)
    local words = show_payload(id, kind, payload, length, tree)
    local text = name .. (#words > 0 and " " or "") .. table.concat(words, ", ")
    tree:append_text(": " .. text)
    tree:set_len(header_size + payload:len())
    return header_size + length, text, kind
end

-- Shows what a recording knows about a message, in the first bytes of a packet.
local function show_prefix(bytes, root, columns)
    local tree = root:add(protocol, bytes)
    tree:append_text(": line " .. bytes(16, 4):uint() .. " of the recording")
    local result = bytes(3, 1):uint()
    local peers = bytes(4, 4)
    tree:add(fields.line, bytes(16, 4))
    tree:add(fields.mono_us, bytes(8, 8))
    if recorded_results[result] then
        tree:add(fields.recorded_result, bytes(3, 1))
        tree:add(fields.client, peers)
        columns.src = "client " .. peers:uint()
        columns.dst = "service"
        if recorded_results[result] == "unanswered" then
            tree:add_proto_expert_info(experts.unanswered, "The client got no reply")
        end
        return recorded_results[result]
    end
    columns.src = "service"
    columns.dst = "subscribers"
    if peers:uint() ~= not_recorded then
        tree:add(fields.receivers, peers)
        columns.dst = "subscribers: " .. peers:uint()
    end
end

function protocol.dissector(tvb, pinfo, root)
    local captured, all = tvb:captured_len(), tvb:reported_len()
    local begin = tvb(0, math.min(3, captured)):string()
    local has_prefix = begin == "SR\1" and captured >= prefix_size
    if not has_prefix and begin:sub(1, 2) ~= "ST" then
        return 0  -- the link type belongs to all users
    end
    local at, result = 0, nil
    if has_prefix then
        at, result = prefix_size, show_prefix(tvb(0, prefix_size), root, pinfo.cols)
    end
    local texts = {}
    while at and at < captured do
        local size, text, kind = show_frame(tvb(at):tvb(), all - at, root)
        table.insert(texts, text)
        result = kind ~= reply and result or nil
        at = size and at + size
    end
    if captured < all then
        local text = string.format("%d of %d bytes are in the capture", captured, all)
        local tree = root:add(protocol, tvb(captured, 0))
        tree:append_text(": " .. text)
        tree:add_proto_expert_info(experts.cut, text)
    end
    table.insert(texts, result)
    pinfo.cols.protocol = "Subtitle"
    pinfo.cols.info = table.concat(texts, "; ")
end

DissectorTable.get("wtap_encap"):add(wtap.USER0, protocol)
