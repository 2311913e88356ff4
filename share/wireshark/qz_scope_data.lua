-- Shows scope data, the diagnostic events that qzagent records, and the calls that qzsim records, in Wireshark and tshark.
--
-- A packet of link type USER0 is one encoded record: category, subcategory, whether names follow, both names, whether
-- payload follows, payload. The elements are CBOR items (RFC 8949) without a container.

local scope = Proto("qz_scope", "Scope data")

local fields = {
    category = ProtoField.uint8("qz_scope.category", "Category"),
    subcategory = ProtoField.uint8("qz_scope.subcategory", "Subcategory"),
    has_names = ProtoField.bool("qz_scope.has_names", "Has names"),
    first_wwn = ProtoField.eui64("qz_scope.first_wwn", "First name"),
    second_wwn = ProtoField.eui64("qz_scope.second_wwn", "Second name"),
    has_payload = ProtoField.bool("qz_scope.has_payload", "Has payload"),
    length = ProtoField.uint32("qz_scope.length", "Payload length"),
    payload = ProtoField.bytes("qz_scope.payload", "Payload"),
}
scope.fields = fields

local malformed = ProtoExpert.new("qz_scope.malformed", "Malformed scope data", expert.group.MALFORMED,
                                  expert.severity.ERROR)
local trailing = ProtoExpert.new("qz_scope.trailing", "Bytes after the record", expert.group.PROTOCOL,
                                 expert.severity.WARN)
scope.experts = { malformed, trailing }

local LARGEST_CATEGORY = 0xff
local LARGEST_NUMBER = 0xffffffff
local NAME_SIZE = 8

-- CBOR: the type is in the upper three bits of a head, and its low five bits are a small value or the size of a value.
local UNSIGNED, BYTE_STRING = 0, 2
local FALSE, TRUE = 0xf4, 0xf5

-- Reads elements one after another. Raises a table with the position and the problem of an element that it refuses.
local Reader = {}
Reader.__index = Reader

function Reader.new(bytes)
    return setmetatable({ bytes = bytes, position = 0 }, Reader)
end

function Reader:refuse(problem)
    error({ position = self.position, problem = problem })
end

function Reader:left()
    return self.bytes:len() - self.position
end

-- Returns the value of a head and the size of the head.
function Reader:head(type, expected, largest)
    if self:left() == 0 then
        self:refuse("expected " .. expected .. ", found the end")
    end
    local first = self.bytes(self.position, 1):uint()
    local info = first % 32
    if first - info ~= type * 32 or info > 27 then
        self:refuse(string.format("expected %s, found 0x%02x", expected, first))
    end
    if info < 24 then
        return info, 1
    end
    local size = 2 ^ (info - 24)
    if self:left() < 1 + size then
        self:refuse("expected " .. expected .. ", found the end within it")
    end
    local value = 0
    for i = 1, size do
        value = value * 256 + self.bytes(self.position + i, 1):uint()
    end
    if value > largest then
        self:refuse("expected " .. expected .. ", found a larger number")
    end
    return value, 1 + size
end

function Reader:take(size)
    local range = self.bytes(self.position, size)
    self.position = self.position + size
    return range
end

function Reader:number(expected, largest)
    local value, size = self:head(UNSIGNED, expected, largest)
    return value, self:take(size)
end

function Reader:boolean(expected)
    if self:left() == 0 then
        self:refuse("expected " .. expected .. ", found the end")
    end
    local byte = self.bytes(self.position, 1):uint()
    if byte ~= FALSE and byte ~= TRUE then
        self:refuse(string.format("expected %s, found 0x%02x", expected, byte))
    end
    return byte == TRUE, self:take(1)
end

-- Returns the content, which is nil when it is empty, its size, and the whole element.
function Reader:buffer(expected, required_size)
    local size, head = self:head(BYTE_STRING, expected, LARGEST_NUMBER)
    if required_size and size ~= required_size then
        self:refuse(string.format("expected %s, found %d bytes", expected, size))
    end
    if self:left() < head + size then
        self:refuse("expected " .. expected .. ", found the end within it")
    end
    local element = self:take(head + size)
    return size > 0 and element(head, size) or nil, size, element
end

local function add_record(reader, tree, info)
    local category, category_range = reader:number("a category", LARGEST_CATEGORY)
    tree:add(fields.category, category_range, category)
    table.insert(info, "category " .. category)
    local subcategory, subcategory_range = reader:number("a subcategory", LARGEST_CATEGORY)
    tree:add(fields.subcategory, subcategory_range, subcategory)
    table.insert(info, "subcategory " .. subcategory)
    local has_names, names_range = reader:boolean("whether names follow")
    tree:add(fields.has_names, names_range, has_names)
    if has_names then
        local first = reader:buffer("a name of 8 bytes", NAME_SIZE)
        tree:add(fields.first_wwn, first)
        local second = reader:buffer("a name of 8 bytes", NAME_SIZE)
        tree:add(fields.second_wwn, second)
        table.insert(info, "names " .. first:bytes():tohex(true, ":") .. " and " .. second:bytes():tohex(true, ":"))
    end
    local has_payload, payload_range = reader:number("whether payload follows", LARGEST_NUMBER)
    tree:add(fields.has_payload, payload_range, has_payload ~= 0)
    if has_payload == 0 then
        return
    end
    local payload, size, element = reader:buffer("payload")
    tree:add(fields.length, element(0, element:len() - size), size)
    if payload then
        tree:add(fields.payload, payload)
    end
    table.insert(info, size .. " bytes")
end

function scope.dissector(buffer, packet, root)
    packet.cols.protocol = "QZ-SCOPE"
    local tree = root:add(scope, buffer())
    local reader = Reader.new(buffer)
    local info = {}
    local ok, refusal = pcall(add_record, reader, tree, info)
    if not ok then
        if type(refusal) ~= "table" then
            error(refusal)  -- a defect of this file
        end
        local text = string.format("At byte %d: %s", refusal.position, refusal.problem)
        tree:add_proto_expert_info(malformed, text)
        table.insert(info, "[Malformed: " .. text .. "]")
    elseif reader:left() > 0 then
        tree:add_proto_expert_info(trailing, reader:left() .. " bytes after the record")
    end
    local line = table.concat(info, ", ")
    packet.cols.info = line:sub(1, 1):upper() .. line:sub(2)
    return buffer:len()
end

-- A packet of link type USER1 is a CBOR map: a call of a library, an event, or what the program opened.
local call = Proto("qz_call", "Call of a library")

local call_fields = {
    kind = ProtoField.string("qz_call.kind", "Kind"),
    name = ProtoField.string("qz_call.name", "Name"),
    process = ProtoField.uint32("qz_call.process", "Process"),
    thread = ProtoField.uint32("qz_call.thread", "Thread"),
    duration = ProtoField.uint64("qz_call.duration", "Duration in nanoseconds"),
    returns = ProtoField.uint32("qz_call.returns", "Returns"),
    registration = ProtoField.uint32("qz_call.registration", "Registration"),
    error = ProtoField.string("qz_call.error", "Error"),
    arguments = ProtoField.string("qz_call.arguments", "Arguments"),
    results = ProtoField.string("qz_call.results", "Results"),
    data = ProtoField.string("qz_call.data", "Data"),
}
call.fields = call_fields

local malformed_call = ProtoExpert.new("qz_call.malformed", "Malformed call", expert.group.MALFORMED,
                                       expert.severity.ERROR)
local continued = ProtoExpert.new("qz_call.continued", "Continued by the next packet of the interface",
                                  expert.group.REASSEMBLE, expert.severity.CHAT)
call.experts = { malformed_call, continued }

local KINDS = { call = true, event = true, library = true, configuration = true }
local LARGEST_PACKET = 262144
local DEEPEST = 16
local BREAK = 0xff
local LONGEST_TEXT = 1000  -- of a value in the packet details

local add_item

-- Appends the items up to the break, and what separates them.
local function add_items(reader, texts, level, separators)
    local count = 0
    while reader.bytes(reader.position, 1):uint() ~= BREAK do
        if count > 0 then
            table.insert(texts, separators[count % #separators + 1])
        end
        add_item(reader, texts, level + 1)
        count = count + 1
    end
    reader:take(1)
end

-- Reads an item of any type, and appends it to the texts.
add_item = function(reader, texts, level)
    if reader:left() == 0 or level > DEEPEST then
        reader:refuse("expected an item")
    end
    local first = reader.bytes(reader.position, 1):uint()
    if first == 0xbf or first == 0x9f then
        reader:take(1)
        table.insert(texts, first == 0xbf and "{" or "[")
        add_items(reader, texts, level, first == 0xbf and { ", ", ": " } or { ", " })
        table.insert(texts, first == 0xbf and "}" or "]")
    elseif first == 0xf6 then
        reader:take(1)
        table.insert(texts, "null")
    else
        local type = math.floor(first / 32)
        local value, size = reader:head(type, "an item", 2 ^ 64)
        if type == 0 or type == 1 then
            reader:take(size)
            table.insert(texts, string.format("%.0f", type == 0 and value or -1 - value))
        elseif (type == 2 or type == 3) and reader:left() >= size + value then
            local element = reader:take(size + value)
            local content = value > 0 and element(size, value)
            table.insert(texts, not content and '""' or type == 3 and '"' .. content:string() .. '"' or
                                    content:bytes():tohex(true, value == NAME_SIZE and ":" or ""))
        else
            reader:refuse(string.format("expected an item, found 0x%02x", first))
        end
    end
end

-- Returns the text of the next item, and its bytes.
local function item(reader)
    local texts, start = {}, reader.position
    add_item(reader, texts, 0)
    return table.concat(texts), reader.bytes(start, reader.position - start)
end

local function unquoted(text)
    return text:match('^"(.*)"$') or text
end

local function add_call(reader, tree, info)
    if reader:left() == 0 or reader:take(1):uint() ~= 0xbf then
        reader:refuse("expected a map")
    end
    while reader:left() == 0 or reader.bytes(reader.position, 1):uint() ~= BREAK do
        local key = unquoted((item(reader)))
        local text, range = item(reader)
        if KINDS[key] then
            tree:add(call_fields.kind, range, key)
            tree:add(call_fields.name, range, unquoted(text))
            info.name = key == "configuration" and "configuration" or key == "call" and unquoted(text) or
                            key .. " " .. unquoted(text)
        elseif key == "duration" then
            tree:add(call_fields.duration, range, UInt64(tonumber(text)))
        elseif call_fields[key] then
            local is_number = call_fields[key] == call_fields.process or call_fields[key] == call_fields.thread or
                                  call_fields[key] == call_fields.returns or
                                  call_fields[key] == call_fields.registration
            tree:add(call_fields[key], range, is_number and tonumber(text) or unquoted(text):sub(1, LONGEST_TEXT))
            info[key] = text
        end
    end
end

local function line_of(info)
    local line = info.name or "?"
    if info.arguments then
        line = line .. "(" .. info.arguments:sub(2, -2):sub(1, 200) .. ")"
    end
    return line .. (info.data and " " .. info.data:sub(1, 200) or "") ..
               (info.returns and " = " .. info.returns or "") .. (info.error and ": " .. unquoted(info.error) or "")
end

function call.dissector(buffer, packet, root)
    packet.cols.protocol = "QZ-CALL"
    local tree = root:add(call, buffer())
    local reader = Reader.new(buffer)
    local info = {}
    local ok, refusal = pcall(add_call, reader, tree, info)
    local line = line_of(info)
    if not ok and buffer:len() == LARGEST_PACKET then
        tree:add_proto_expert_info(continued)
        line = line .. " [continued]"
    elseif not ok then
        local text = type(refusal) == "table" and
                         string.format("At byte %d: %s", refusal.position, refusal.problem) or tostring(refusal)
        tree:add_proto_expert_info(malformed_call, text)
        line = line .. " [Malformed: " .. text .. "]"
    end
    packet.cols.info = line
    return buffer:len()
end

DissectorTable.get("wtap_encap"):add(wtap.USER0, scope)
DissectorTable.get("wtap_encap"):add(wtap.USER1, call)
-- Captures also contain JSON documents.
DissectorTable.get("wtap_encap"):add(wtap.USER2, Dissector.get("json"))
