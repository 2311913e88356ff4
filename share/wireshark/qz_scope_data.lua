-- Shows scope data, the diagnostic events that qzagent records, in Wireshark and tshark.
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

DissectorTable.get("wtap_encap"):add(wtap.USER0, scope)
-- Captures also contain JSON documents.
DissectorTable.get("wtap_encap"):add(wtap.USER2, Dissector.get("json"))
