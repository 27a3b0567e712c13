-- What a page of docs/ becomes as a man page: its title goes into the header, sections are capital, a table is a list of
-- its first cells with the others told below each, and a link is the text of it.
-- Pandoc calls these functions by the names of what they are given.

local stringify = pandoc.utils.stringify

local function labelled(heading, cell)
    local inlines = pandoc.utils.blocks_to_inlines(cell)
    if #inlines == 0 then return nil end
    local label = stringify(heading)
    if label ~= "" then
        table.insert(inlines, 1, pandoc.Str(label .. ":"))
        table.insert(inlines, 2, pandoc.Space())
    end
    return inlines
end

-- Headings that tell nothing about the only cell below a term.
local says_itself = { Does = true, Meaning = true }

-- A term that several rows share has the second cell with it, so that each is another.
local function term_of(row, is_shared)
    local term = pandoc.utils.blocks_to_inlines(row[1])
    if not is_shared then return term, 2 end
    local second = pandoc.utils.blocks_to_inlines(row[2])
    local is_typed = second[1] and second[1].t == "Strong"
    table.insert(term, pandoc.Str(is_typed and " " or " ("))
    for _, inline in ipairs(second) do table.insert(term, inline) end
    if not is_typed then table.insert(term, pandoc.Str(")")) end
    return term, 3
end

function Table(wide)
    local simple = pandoc.utils.to_simple_table(wide)
    local rows_of = {}
    local is_shared = false
    for _, row in ipairs(simple.rows) do
        local first = stringify(row[1])
        is_shared = is_shared or (#row > 2 and rows_of[first] ~= nil)
        rows_of[first] = true
    end
    local items = {}
    for _, row in ipairs(simple.rows) do
        local term, next_column = term_of(row, is_shared)
        local lines = {}
        for column = next_column, #row do
            local heading = simple.headers[column]
            if next_column == #row and says_itself[stringify(heading)] then heading = {} end
            local line = labelled(heading, row[column])
            if line then
                if #lines > 0 then table.insert(lines, pandoc.RawInline("man", "\n.br\n")) end
                for _, inline in ipairs(line) do table.insert(lines, inline) end
            end
        end
        table.insert(items, { term, { { pandoc.Para(lines) } } })
    end
    return pandoc.DefinitionList(items)
end

-- quindal-margin(1) is not broken at its hyphen; accounts.md is a page of the manual.
function Link(link)
    local text = stringify(link)
    local name, chapter = text:match("^([%w.-]+)(%(%d%))$")
    if name then return pandoc.RawInline("man", "\\f[B]" .. name:gsub("-", "\\-") .. "\\f[R]" .. chapter) end
    local page = text:match("^([%w-]+)%.md$")
    if page then return pandoc.Str('"' .. page .. '" in the manual') end
    return link.content
end

function Header(header)
    if header.level == 1 then return {} end
    header.level = header.level - 1
    if header.level == 1 then
        header.content = pandoc.Inlines(pandoc.text.upper(stringify(header)))
    end
    return header
end

-- What people type stands bold; man has no typewriter face.
function Code(code)
    return pandoc.Strong({ pandoc.Str(code.text) })
end

function CodeBlock(block)
    local text = block.text:gsub("\\", "\\e"):gsub("-", "\\-"):gsub("\n([.'])", "\n\\&%1"):gsub("^([.'])", "\\&%1")
    return pandoc.RawBlock("man", ".RS 4\n.nf\n" .. text .. "\n.fi\n.RE")
end
