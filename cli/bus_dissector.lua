-- The rest is the same for all messages. A packet is what the tap gives: 16 bytes about the copy (boot time, from, to,
-- direction), the record's head of 16 bytes, its payload. All numbers are little-endian.

local TAP_SIZE, HEAD_SIZE = 16, 16
local UNKNOWN_COMMAND = 0xe0
local SECONDS_APART = 100 -- what comes later belongs to another request of the same number

local bus = Proto("vela", "Message bus of vela_flight")

local function named(values) return next(values) and values or nil end

local function field(kind, name, label, ...) return ProtoField[kind]("vela." .. name, label, ...) end

local head = {
    time = field("relative_time", "boot_time", "Boot time"),
    from = field("uint16", "from", "From", base.HEX, named(ADDRESSES)),
    to = field("uint16", "to", "To", base.HEX, named(ADDRESSES)),
    direction = field("uint8", "direction", "Copy of", base.DEC, { [0] = "the sender", [1] = "the receiver" }),
    id = field("uint8", "id", "Command id", base.HEX),
    set = field("uint8", "set", "Command set", base.HEX),
    peer = field("uint16", "peer_host", "Peer", base.HEX, named(ADDRESSES)),
    attrib = field("uint16", "attrib", "Attributes", base.HEX),
    encryption = field("uint16", "attrib.encryption", "Encryption", base.DEC, nil, 0x000f),
    need_ack = field("uint16", "attrib.need_ack", "Wants a reply", base.DEC, nil, 0x0060),
    reply = field("bool", "attrib.reply", "Is a reply", 16, nil, 0x0080),
    seq = field("uint16", "seq_id", "Number", base.DEC),
    length = field("uint32", "msg_len", "Payload", base.UNIT_STRING, { " bytes" }),
    message = field("string", "message", "Message"),
    payload = field("bytes", "payload", "Payload"),
    request_in = field("framenum", "request_in", "Request in", base.NONE, frametype.REQUEST),
    reply_in = field("framenum", "reply_in", "Reply in", base.NONE, frametype.RESPONSE),
    delay = field("relative_time", "delay", "After the request"),
}

local expert = {
    record = ProtoExpert.new("vela.record.malformed", "no record of the bus", expert.group.MALFORMED,
        expert.severity.ERROR),
    length = ProtoExpert.new("vela.length.wrong", "wrong length", expert.group.MALFORMED, expert.severity.ERROR),
    refused = ProtoExpert.new("vela.command.unknown", "the receiver does not know this command",
        expert.group.RESPONSE_CODE, expert.severity.WARN),
    unknown = ProtoExpert.new("vela.message.unknown", "no description of set and id", expert.group.UNDECODED,
        expert.severity.NOTE),
}
bus.experts = { expert.record, expert.length, expert.refused, expert.unknown }

-- Bytes of one element.
local SIZES = { u8 = 1, i8 = 1, u16 = 2, u32 = 4, i32 = 4, f32 = 4, rest_u32 = 4, version = 4, f64 = 8 }
local KINDS = { u8 = "uint8", u16 = "uint16", u32 = "uint32", rest_u32 = "uint32", i8 = "int8", i32 = "int32",
    f32 = "float", f64 = "double", version = "string", text = "string", bytes = "bytes", rest = "bytes" }

local function is_rest(part) return part.type == "rest" or part.type == "rest_u32" end

local function field_of(message, part)
    local kind, name, label = KINDS[part.type], message.name .. "." .. part.name, part.name
    if kind == "string" or kind == "bytes" then return field(kind, name, label) end
    local unit = part.unit and { " " .. part.unit }
    if kind == "float" or kind == "double" then return field(kind, name, label, unit) end
    local shown_in = (unit and not part.names) and base.UNIT_STRING or base.DEC
    return field(kind, name, label, shown_in, part.names or unit, part.mask)
end

-- Messages by set, id and kind, each list in the order in which they are told apart.
local by_id, fields = {}, {}
for _, one in pairs(head) do fields[#fields + 1] = one end
for _, message in ipairs(MESSAGES) do
    local key = message.set .. ":" .. message.id .. ":" .. tostring(message.reply)
    by_id[key] = by_id[key] or {}
    table.insert(by_id[key], message)
    for _, part in ipairs(message.fields) do
        part.field = field_of(message, part)
        fields[#fields + 1] = part.field
    end
end
bus.fields = fields

local function begins_like(message, payload)
    return message.first == nil or (payload ~= nil and payload(0, 1):uint() == message.first)
end

-- Where several share an id, the first byte of the payload or its length chooses.
local function find(about, payload)
    local found
    for _, message in ipairs(by_id[about.set .. ":" .. about.id .. ":" .. tostring(about.reply)] or {}) do
        if (message.server == 0 or message.server == about.server) and begins_like(message, payload) then
            if message.size == about.length then return message end
            found = found or message
        end
    end
    return found
end

local function length_problem(message, length)
    local open_end = false
    for _, part in ipairs(message.fields) do open_end = open_end or is_rest(part) end
    if #message.fields == 0 or length == message.size or (open_end and length > message.size) then return nil end
    return string.format("%s: %d bytes, %s%d expected", length < message.size and "short" or "long", length,
        open_end and "at least " or "", message.size)
end

local function text_of(range)
    local text = range:raw():match("^[^%z]*")
    return (text:gsub("[^\32-\126]", "?"))
end

local function version_of(range)
    return string.format("%d.%d.%d.%d", range(3, 1):uint(), range(2, 1):uint(), range(1, 1):uint(), range(0, 1):uint())
end

local function add_part(tree, part, payload)
    local size = SIZES[part.type]
    if part.type == "text" then
        local range = payload(part.at, part.count)
        tree:add(part.field, range, text_of(range))
    elseif part.type == "bytes" then
        tree:add(part.field, payload(part.at, part.count))
    elseif part.type == "version" then
        local range = payload(part.at, size)
        tree:add(part.field, range, version_of(range))
    elseif part.type == "rest" then
        if part.at < payload:len() then tree:add(part.field, payload(part.at)) end
    else
        local count = part.type == "rest_u32" and math.floor((payload:len() - part.at) / size) or part.count
        for i = 0, count - 1 do tree:add_le(part.field, payload(part.at + i * size, size)) end
    end
end

-- Says what is wrong with a message, or shows its fields. Returns its name.
local function add_message(tree, about, payload)
    local message = find(about, payload)
    local name = message and message.name or "unknown"
    local item = tree:add(head.message, name)
    if message then item:append_text(": " .. message.summary) end
    local problem = message and length_problem(message, about.length)
    if about.reply and about.length == 1 and payload(0, 1):uint() == UNKNOWN_COMMAND then
        item:add_proto_expert_info(expert.refused)
    elseif not message then
        item:add_proto_expert_info(expert.unknown)
    elseif problem then
        item:add_proto_expert_info(expert.length, problem)
    else
        for _, part in ipairs(message.fields) do add_part(item, part, payload) end
        return name
    end
    if payload then item:add(head.payload, payload()) end
    return name
end

-- Requests under way by their two ends, message and number; frames that belong together, once known.
local open_requests, request_of, reply_of = {}, {}, {}
function bus.init() open_requests, request_of, reply_of = {}, {}, {} end

local function is_second_copy(open, about)
    return open and not open.both and open.direction ~= about.direction and about.time - open.time < SECONDS_APART
end

-- Both copies of a reply belong to the first copy of its request, also when the other copy comes late.
local function link(frame, about)
    local client, server = about.from, about.to
    if about.reply then client, server = about.to, about.from end
    local key = string.format("%d %d %d %d", client, server, about.msg_id, about.seq)
    local open = open_requests[key]
    if not about.reply and is_second_copy(open, about) then
        open.both = true
    elseif not about.reply then
        open_requests[key] = { frame = frame, time = about.time, direction = about.direction }
    elseif open and about.time - open.time < SECONDS_APART then
        request_of[frame] = { frame = open.frame, delay = about.time - open.time }
        reply_of[open.frame] = reply_of[open.frame] or frame
    end
end

local function add_link(tree, frame)
    local request, reply = request_of[frame], reply_of[frame]
    if reply then tree:add(head.reply_in, reply):set_generated() end
    if not request then return end
    tree:add(head.request_in, request.frame):set_generated()
    if request.delay < 0 then return end
    local seconds = math.floor(request.delay)
    local delay = NSTime.new(seconds, math.floor((request.delay - seconds) * 1e9 + 0.5))
    tree:add(head.delay, delay):set_generated()
end

local function read_about(tvb)
    local attrib = tvb(22, 2):le_uint()
    local about = {
        time = tvb(0, 8):le_uint64():tonumber() / 1e6,
        from = tvb(8, 2):le_uint(),
        to = tvb(10, 2):le_uint(),
        direction = tvb(12, 1):uint(),
        msg_id = tvb(16, 4):le_uint(),
        id = tvb(16, 1):uint(),
        set = tvb(18, 1):uint(),
        reply = math.floor(attrib / 0x80) % 2 == 1,
        seq = tvb(24, 2):le_uint(),
        length = tvb(28, 4):le_uint(),
    }
    about.server = about.reply and about.from or about.to
    return about
end

local function add_head(tree, tvb)
    local us = tvb(0, 8):le_uint64()
    local seconds = (us / 1000000):tonumber()
    tree:add(head.time, tvb(0, 8), NSTime.new(seconds, (us % 1000000):tonumber() * 1000))
    tree:add_le(head.from, tvb(8, 2))
    tree:add_le(head.to, tvb(10, 2))
    tree:add(head.direction, tvb(12, 1))
    tree:add(head.set, tvb(18, 1))
    tree:add(head.id, tvb(16, 1))
    tree:add_le(head.peer, tvb(20, 2))
    local attrib = tree:add_le(head.attrib, tvb(22, 2))
    attrib:add_le(head.encryption, tvb(22, 2))
    attrib:add_le(head.need_ack, tvb(22, 2))
    attrib:add_le(head.reply, tvb(22, 2))
    tree:add_le(head.seq, tvb(24, 2))
    tree:add_le(head.length, tvb(28, 4))
end

local function name_of(host) return ADDRESSES[host] or string.format("0x%04x", host) end

function bus.dissector(tvb, pinfo, root)
    pinfo.cols.protocol = "vela"
    local tree = root:add(bus, tvb())
    local size = tvb:len()
    if size < TAP_SIZE + HEAD_SIZE or tvb(28, 4):le_uint() ~= size - TAP_SIZE - HEAD_SIZE then
        tree:add_proto_expert_info(expert.record)
        pinfo.cols.info = "no record of the bus"
        return size
    end
    local about = read_about(tvb)
    if not pinfo.visited then link(pinfo.number, about) end
    add_head(tree, tvb)
    add_link(tree, pinfo.number)
    local payload = about.length > 0 and tvb(TAP_SIZE + HEAD_SIZE):tvb() or nil
    local name = add_message(tree, about, payload)
    pinfo.cols.src = name_of(about.from)
    pinfo.cols.dst = name_of(about.to)
    pinfo.cols.info = string.format("#%d %02x:%02x %s%s", about.seq, about.set, about.id, name,
        about.direction == 1 and " (as received)" or "")
    return size
end

DissectorTable.get("wtap_encap"):add((wtap_encaps or wtap).USER0, bus)
