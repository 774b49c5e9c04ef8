-- Jay's message bus in Wireshark and tshark. docs/protocol.md tells the protocol.
--
-- For one run:    tshark -X lua_script:tools/wireshark/jaybus.lua -i lo -f 'tcp port 23117'
-- For good:       copy this file into the folder of personal Lua plug-ins (Help, About Wireshark, Folders)
-- Another port:   the preference jaybus.port, as in -o jaybus.port:7000, or "Decode As..."

local HEADER = 16
local CLIENTS = 32
local SYNC, BROADCAST, TIMED = 1, 2, 4
local LONGEST_GUESS = 8192 -- longer payloads are not searched for items
local LONGEST_SUMMARY = 80 -- longer ones are only counted in the list of packets

local jaybus = Proto("jaybus", "Jay message bus")
jaybus.prefs.port = Pref.range("TCP ports", "23117", "The ports on which bus servers listen", 65535)

-- ---- fields ----

local f = {
    length = ProtoField.uint16("jaybus.length", "Length", base.DEC, nil, nil, "Of the whole message, header included"),
    dest = ProtoField.uint16("jaybus.dest", "Destination"),
    src = ProtoField.uint16("jaybus.src", "Source"),
    flag = ProtoField.uint8("jaybus.flag", "Flag", base.HEX),
    sync = ProtoField.bool("jaybus.flag.sync", "SYNC, for client 0", 8, nil, SYNC),
    broadcast = ProtoField.bool("jaybus.flag.broadcast", "BROADCAST, for all others", 8, nil, BROADCAST),
    timed = ProtoField.bool("jaybus.flag.timed", "TIMED, wants an answer in time", 8, nil, TIMED),
    unused = ProtoField.uint8("jaybus.flag.unused", "Unused", base.HEX, nil, 0xF8),
    priority = ProtoField.uint8("jaybus.priority", "Priority", base.DEC, nil, nil, "0 is the most urgent"),
    stamp = ProtoField.uint32("jaybus.timestamp", "Time stamp (ms)", base.DEC, nil, nil, "Low 31 bits of a clock"),
    timeout = ProtoField.uint32("jaybus.timeout", "Time-out (ms)", base.DEC, nil, nil, "Instead of the time stamp, when TIMED"),
    section = ProtoField.int32("jaybus.section", "Section", base.DEC),
    payload = ProtoField.bytes("jaybus.payload", "Payload"),
    text = ProtoField.string("jaybus.text", "Text", base.UNICODE, "The payload, when it is nothing but text"),
    items = ProtoField.string("jaybus.items", "Items (a guess)", base.UNICODE, "The payload as typed items; items carry no type"),
    client = ProtoField.uint16("jaybus.client", "Client of this connection", base.DEC, nil, nil, "As its greeting said"),
    kind = ProtoField.string("jaybus.kind", "Kind", base.ASCII, "greeting, wake-up or message"),
    to_server = ProtoField.bool("jaybus.to_server", "To the server"),
    answer_in = ProtoField.framenum("jaybus.answer_in", "Answer in", base.NONE, frametype.RESPONSE),
    request_in = ProtoField.framenum("jaybus.request_in", "Request in", base.NONE, frametype.REQUEST),
    answer_time = ProtoField.double("jaybus.answer_time", "Time taken (s)"),
}
local item_fields = {
    byte = ProtoField.uint8("jaybus.item.byte", "byte"),
    word = ProtoField.uint16("jaybus.item.word", "word"),
    int = ProtoField.int32("jaybus.item.int", "int"),
    var = ProtoField.uint32("jaybus.item.var", "var"),
    str = ProtoField.string("jaybus.item.str", "str", base.UNICODE),
}
for _, fields in ipairs({ f, item_fields }) do
    for _, field in pairs(fields) do
        jaybus.fields[#jaybus.fields + 1] = field
    end
end

local function note(name, text, group, severity)
    local proto_expert = ProtoExpert.new("jaybus." .. name, text, group, severity)
    jaybus.experts[#jaybus.experts + 1] = proto_expert
    return proto_expert
end

local group, severity = expert.group, expert.severity
local e = {
    length = note("length.bad", "The length is below the 16 bytes of the header: it counts as the header alone", group.MALFORMED,
        severity.ERROR),
    header = note("header.bad", "This is no header: a message before it was shorter or longer than it said", group.MALFORMED,
        severity.ERROR),
    dest = note("dest.bad", "The destination is above 31: the server drops the message", group.PROTOCOL, severity.WARN),
    src = note("src.foreign", "The source is not the client of this connection; the server does not mind", group.PROTOCOL,
        severity.NOTE),
    flag = note("flag.bad", "Flag bits that mean nothing", group.PROTOCOL, severity.NOTE),
    stamp = note("timestamp.bad", "The time stamp's highest bit is set, which the library never does", group.PROTOCOL, severity.NOTE),
    greeting = note("greeting.bad", "The greeting's id is above 31: the server leaves the connection unused", group.PROTOCOL,
        severity.WARN),
    wake_up = note("wake_up", "The server asks for a client that is wanted", group.REQUEST_CODE, severity.CHAT),
}

-- ---- what a payload may be made of: the same guess as `jay dump --decode` makes ----
-- The fewest items that account for every byte, where a string is readable text and the upper half of the bits of a number is all zeros
-- or all ones; they count as items if there are at most two for three bytes and, where the whole payload is readable text, if all are
-- strings. Among as few items the first that differs is the shorter one.

local function is_ascii_letter(byte)
    return byte >= 0x20 and byte < 0x7F or byte == 0x09 or byte == 0x0A or byte == 0x0D
end

-- How many bytes the UTF-8 character takes whose first byte this is; 0 when it is none of more than one byte.
local function utf8_length(byte)
    return byte >= 0xC2 and byte < 0xE0 and 2 or byte >= 0xE0 and byte < 0xF0 and 3 or byte >= 0xF0 and byte < 0xF5 and 4 or 0
end

-- How many bytes the character at a place takes; 0 when none is there that a text would hold.
local function letter_at(bytes, at)
    local first = bytes[at]
    if first < 0x80 then return is_ascii_letter(first) and 1 or 0 end
    local length = utf8_length(first)
    local complete = length > 0 and at + length <= bytes.count
    for i = at + 1, at + length - 1 do
        complete = complete and bytes[i] >= 0x80 and bytes[i] < 0xC0
    end
    if complete then return length, "utf-8" end
    local second = at + 1 < bytes.count and bytes[at + 1] or 0
    local korean = first >= 0xA1 and first <= 0xFE and second >= 0x81 and second <= 0xFE
    return korean and 2 or 0, "euc-kr"
end

-- Places count from 0, as in the buffer.
local function bytes_of(range)
    local raw = range:bytes()
    local bytes = { count = raw:len() }
    for i = 0, bytes.count - 1 do
        bytes[i] = raw:get_index(i)
    end
    return bytes
end

local function little_endian(bytes, at, count)
    local value = 0
    for i = at + count - 1, at, -1 do
        value = value * 256 + bytes[i]
    end
    return value
end

-- Length and value of a variable integer as the library writes it; nil when there is none.
local function read_var(bytes, at)
    local first = bytes[at]
    local length = first < 254 and 1 or first == 254 and 3 or 5
    if at + length > bytes.count then return nil end
    if length == 1 then return 1, first end
    local value = little_endian(bytes, at + 1, length - 1)
    local written_so = length == 3 and value >= 254 or length == 5 and value > 65535 and value <= 2147483647
    if written_so then return length, value end
end

-- Where the text that begins at each place ends.
local function measure_texts(bytes)
    local ends = { [bytes.count] = bytes.count }
    for at = bytes.count - 1, 0, -1 do
        local length = letter_at(bytes, at)
        ends[at] = length == 0 and at or ends[at + length]
    end
    return ends
end

-- The items; nil when the payload does not look like items.
local function guess_items(bytes)
    local ends = measure_texts(bytes)
    local best = { [bytes.count] = { items = 0 } }
    local function offer(at, length, item)
        item.at, item.length, item.items = at, length, 1 + best[at + length].items
        local other = best[at]
        if not other or item.items < other.items or item.items == other.items and length < other.length then best[at] = item end
    end
    local function offer_number(at, kind, length)
        if at + length > bytes.count then return end
        local value, half = little_endian(bytes, at, length), 16 ^ length
        local upper = math.floor(value / half)
        if length > 1 and upper ~= 0 and upper ~= half - 1 then return end
        if kind == "int" and value >= 2147483648 then value = value - 4294967296 end
        offer(at, length, { kind = kind, value = value })
    end
    for at = bytes.count - 1, 0, -1 do
        offer_number(at, "byte", 1)
        offer_number(at, "word", 2)
        offer_number(at, "int", 4)
        local length, value = read_var(bytes, at)
        local start = length and at + length
        if length and length > 1 then offer(at, length, { kind = "var", value = value }) end
        if length and value > 0 and value <= bytes.count - start and ends[start] >= start + value then
            offer(at, length + value, { kind = "str", start = start, size = value })
        end
    end
    if 3 * best[0].items > 2 * bytes.count then return nil, ends end
    local items, at, all_strings = {}, 0, true
    while at < bytes.count do
        items[#items + 1] = best[at]
        all_strings = all_strings and best[at].kind == "str"
        at = at + best[at].length
    end
    if ends[0] == bytes.count and not all_strings then return nil, ends end
    return items, ends
end

-- How a text is to be read; nil when it is nothing but ASCII.
local function encoding_of(bytes, at, size)
    local encoding, i = nil, at
    while i < at + size do
        local length, kind = letter_at(bytes, i)
        if kind == "euc-kr" then return ENC_EUC_KR end
        if kind == "utf-8" then encoding = ENC_UTF_8 end
        i = i + math.max(length, 1)
    end
    return encoding
end

-- A text as it can be shown. What string() converts it cuts at as many bytes as it was made of: whatever may grow gets room, three
-- bytes for one, which is what a byte that is no character takes.
local function shown_text(range, bytes, at, size)
    local part = range(at, size)
    local encoding = encoding_of(bytes, at, size)
    if not encoding then return part:string(ENC_ASCII) end
    local room = ByteArray.new()
    room:set_size(2 * size)
    local text = (part:bytes() .. room):tvb("Text"):range():string(encoding):gsub("\0.*$", "")
    return text
end

-- Adds one item, and gives it as `jay dump` writes it.
local function add_item(tree, range, bytes, item)
    if item.kind == "str" then
        local text = shown_text(range, bytes, item.start, item.size)
        tree:add(item_fields.str, range(item.at, item.length), text)
        return 'str:"' .. text .. '"'
    end
    tree:add(item_fields[item.kind], range(item.at, item.length), item.value)
    return string.format("%s:%d", item.kind, item.value)
end

-- Adds what the payload may mean, and gives it in a few words for the list of packets.
local function add_payload(tree, range)
    local branch = tree:add(f.payload, range)
    if range:len() > LONGEST_GUESS then return string.format("%d bytes", range:len()) end
    local bytes = bytes_of(range)
    local items, ends = guess_items(bytes)
    if items then
        local words = {}
        for i, item in ipairs(items) do
            words[i] = add_item(branch, range, bytes, item)
        end
        local row = table.concat(words, " ")
        branch:add(f.items, range, row):set_generated()
        return row
    end
    if ends[0] < bytes.count then return string.format("%d bytes", bytes.count) end
    local text = shown_text(range, bytes, 0, bytes.count)
    branch:add(f.text, range, text)
    return '"' .. text .. '"'
end

-- ---- what is known of each connection ----

local stream_field = Field.new("tcp.stream")
local connections -- by the number of the TCP stream
local messages -- by frame and place: what was found out when the message was first seen

function jaybus.init()
    connections, messages = {}, {}
end

local function holds_port(port)
    for first, dash, last in string.gmatch(jaybus.prefs.port, "(%d+)(%-?)(%d*)") do
        local low = tonumber(first)
        local high = dash == "-" and tonumber(last) or low
        if port >= low and port <= high then return true end
    end
    return false
end

-- Who of the two is the server tells its port; on a port that was picked by hand, the client is who speaks first.
local function connection_of(pinfo)
    local number = stream_field().value
    local connection = connections[number]
    if not connection then
        local server_port = holds_port(pinfo.src_port) and pinfo.src_port or pinfo.dst_port
        connection = { server_port = server_port, waiting = {}, fresh = true }
        connections[number] = connection
    end
    return connection
end

local function is_header_alone(header)
    return header.length == HEADER and header.priority == 0 and header.section == 0
end

-- A request is answered by the first message back with the same section, unless that is 0, which says nothing.
local function pair_up(connection, header, pinfo, message)
    if header.section == 0 or header.src == header.dest then return end
    local there = table.concat({ header.src, header.dest, header.section }, " ")
    local back = table.concat({ header.dest, header.src, header.section }, " ")
    local request = connection.waiting[back]
    if not request then
        connection.waiting[there] = message
        return
    end
    connection.waiting[back] = nil
    request.answer_in = pinfo.number
    message.request_in, message.answer_time = request.number, tonumber(tostring(pinfo.abs_ts - request.time))
end

local function kind_of(connection, header, to_server)
    if connection.fresh and to_server and is_header_alone(header) and header.dest == 0 and header.flag == 0 then return "greeting" end
    if not to_server and is_header_alone(header) and header.flag == SYNC and header.stamp == 0 then return "wake-up" end
    return "message"
end

-- What only the packets before can tell. They are seen in their order the first time, in any order later.
local function look_up(tvb, pinfo, header)
    local key = table.concat({ pinfo.number, tvb:offset(), header.length }, " ")
    if messages[key] then return messages[key] end
    local connection = connection_of(pinfo)
    local to_server = pinfo.dst_port == connection.server_port
    local message = { number = pinfo.number, time = pinfo.abs_ts, to_server = to_server, kind = kind_of(connection, header, to_server) }
    if message.kind == "greeting" then connection.client = header.src end
    connection.fresh = connection.fresh and not to_server
    message.client = connection.client
    if message.kind == "message" then pair_up(connection, header, pinfo, message) end
    messages[key] = message
    return message
end

-- ---- a message ----

local function read_header(tvb)
    return {
        length = tvb(0, 2):le_uint(),
        dest = tvb(2, 2):le_uint(),
        src = tvb(4, 2):le_uint(),
        flag = tvb(6, 1):uint(),
        priority = tvb(7, 1):uint(),
        stamp = tvb(8, 4):le_uint(),
        section = tvb(12, 4):le_int(),
    }
end

local function has_flag(header, flag)
    return math.floor(header.flag / flag) % 2 == 1
end

local function is_implausible(header)
    return header.length < HEADER and (header.src >= CLIENTS or header.dest >= CLIENTS) or header.src >= CLIENTS and header.dest >= CLIENTS
end

local function add_header(tree, tvb, header, message)
    local length = tree:add_le(f.length, tvb(0, 2))
    local dest = tree:add_le(f.dest, tvb(2, 2))
    local src = tree:add_le(f.src, tvb(4, 2))
    local flag = tree:add(f.flag, tvb(6, 1))
    for _, field in ipairs({ f.sync, f.broadcast, f.timed, f.unused }) do
        flag:add(field, tvb(6, 1))
    end
    tree:add(f.priority, tvb(7, 1))
    local stamp = tree:add_le(has_flag(header, TIMED) and f.timeout or f.stamp, tvb(8, 4))
    tree:add_le(f.section, tvb(12, 4))

    if is_implausible(header) then
        tree:add_proto_expert_info(e.header)
        return
    end
    if header.length < HEADER then
        length:add_proto_expert_info(e.length, string.format("Length %d is below the header's 16 bytes: the header alone is taken",
            header.length))
    end
    if message.kind == "greeting" then
        if header.src >= CLIENTS then src:add_proto_expert_info(e.greeting) end
    elseif message.to_server then
        if header.dest >= CLIENTS and not has_flag(header, SYNC) then dest:add_proto_expert_info(e.dest) end
        if message.client and header.src ~= message.client then src:add_proto_expert_info(e.src) end
    end
    if header.flag > SYNC + BROADCAST + TIMED then flag:add_proto_expert_info(e.flag) end
    if header.stamp > 2147483647 then stamp:add_proto_expert_info(e.stamp) end
    if message.kind == "wake-up" then
        dest:add_proto_expert_info(e.wake_up, string.format("The server asks for client %d, wanted by client %d", header.dest, header.src))
    end
end

local function add_generated(tree, field, value)
    if value ~= nil then tree:add(field, value):set_generated() end
end

local function add_findings(tree, message)
    add_generated(tree, f.kind, message.kind)
    add_generated(tree, f.to_server, message.to_server)
    add_generated(tree, f.client, message.client)
    add_generated(tree, f.answer_in, message.answer_in)
    add_generated(tree, f.request_in, message.request_in)
    add_generated(tree, f.answer_time, message.answer_time)
end

local function flag_words(header)
    local words = ""
    for _, pair in ipairs({ { SYNC, " SYNC" }, { BROADCAST, " BROADCAST" }, { TIMED, " TIMED" } }) do
        if has_flag(header, pair[1]) then words = words .. pair[2] end
    end
    return words
end

local function summary_of(header, message, payload)
    if is_implausible(header) then return "no header" end
    if message.kind == "greeting" then return string.format("client %d greets", header.src) end
    if message.kind == "wake-up" then return string.format("client %d is wanted by client %d", header.dest, header.src) end
    local words = string.format("%d -> %d%s", header.src, header.dest, flag_words(header))
    if header.priority ~= 0 then words = words .. " priority " .. header.priority end
    if header.section ~= 0 then words = words .. " section " .. header.section end
    if header.length < HEADER then words = words .. " bad length " .. header.length end
    if not payload then return words end
    return words .. " " .. (#payload <= LONGEST_SUMMARY and payload or string.format("%d bytes", header.length - HEADER))
end

local function dissect_message(tvb, pinfo, tree)
    local header = read_header(tvb)
    local message = look_up(tvb, pinfo, header)
    local branch = tree:add(jaybus, tvb())
    add_header(branch, tvb, header, message)
    local payload = tvb:len() > HEADER and add_payload(branch, tvb(HEADER)) or nil
    add_findings(branch, message)

    local summary = summary_of(header, message, payload)
    branch:append_text(", " .. summary)
    pinfo.cols.info:append((pinfo.private.jaybus_seen and "; " or "") .. summary)
    pinfo.private.jaybus_seen = "yes"
    return tvb:len()
end

-- A length below the header's counts as the header alone, here as in the server.
local function length_of(tvb, _, offset)
    return math.max(HEADER, tvb(offset, 2):le_uint())
end

function jaybus.dissector(tvb, pinfo, tree)
    pinfo.cols.protocol = "Jay"
    pinfo.cols.info = ""
    pinfo.private.jaybus_seen = nil
    dissect_tcp_pdus(tvb, tree, HEADER, length_of, dissect_message)
    return tvb:len()
end

-- ---- ports ----

local tcp_ports = DissectorTable.get("tcp.port")
local registered = jaybus.prefs.port

function jaybus.prefs_changed()
    if jaybus.prefs.port == registered then return end
    if registered ~= "" then tcp_ports:remove(registered, jaybus) end
    registered = jaybus.prefs.port
    if registered ~= "" then tcp_ports:add(registered, jaybus) end
end

tcp_ports:add(registered, jaybus)
