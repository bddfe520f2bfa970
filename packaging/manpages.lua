-- SPDX-License-Identifier: Apache-2.0
-- Makes a document of docs/ a manual page. Metadata: `page` and `section`; `about`, the line of
-- NAME; `synopsis`, lines; `only`, the heading of the one part that is taken, or nothing for all of
-- them; `package`, where documents without a page are.
local PAGES = {
  ["chassis.md"] = "cloudclient-cloudchassis(5)",
  ["cloudclientctl.md"] = "cloudclientctl(8)",
  ["device-model.md"] = "cloudclient-device(5)",
  ["host.md"] = "cloudclient(8)",
  ["patch-map.md"] = "cloudclient-covpatchmap(5)",
  ["policy.md"] = "cloudclient-policy(5)",
  ["service.md"] = "cloudservice(8)",
}
local settings = {}
local text = pandoc.utils.stringify

-- "name(8)" as pages write it.
local function reference(page)
  local name, section = page:match("^(.*)(%(%d%))$")
  return {pandoc.Strong{pandoc.Str(name)}, pandoc.Str(section)}
end

-- A link to another document becomes its page, or says where the document is.
local function link(element)
  if element.target:match("^%a+://") then return nil end
  local document = element.target:match("([^/#]*)#?[^#]*$")
  if element.target:match("^#") or document == "" then return element.content end
  if PAGES[document] then return reference(PAGES[document]) end
  local content = pandoc.List(element.content)
  content:extend{pandoc.Str(" (/usr/share/doc/" .. settings.package .. "/" .. document .. ")")}
  return content
end

-- What a row says of its first cell: its meaning, and behind it in parentheses the other cells, each
-- with the heading of its column.
local function said(row, headers, meaning)
  local words, more = pandoc.utils.blocks_to_inlines(row[meaning]), pandoc.List{}
  for column = 2, #row do
    local cell = pandoc.utils.blocks_to_inlines(row[column])
    if column ~= meaning and #cell > 0 then
      more:insert(pandoc.Str((#more > 0 and "; " or "") .. text(headers[column]) .. ": "))
      more:extend(cell)
    end
  end
  if #more == 0 then return words end
  words:insert(pandoc.Str(" ("))
  words:extend(more)
  words:insert(pandoc.Str(")"))
  return words
end

local function definitions(tab)
  local simple = pandoc.utils.to_simple_table(tab)
  local items, meaning = {}, 2
  for column, heading in ipairs(simple.headers) do
    if text(heading) == "meaning" then meaning = column end
  end
  for _, row in ipairs(simple.rows) do
    items[#items + 1] = {pandoc.utils.blocks_to_inlines(row[1]),
                         {{pandoc.Plain(said(row, simple.headers, meaning))}}}
  end
  return pandoc.DefinitionList(items)
end

-- As it stands, in the font of everything else: terminals have no other.
local function verbatim(block)
  local lines = block.text:gsub("\\", "\\[rs]"):gsub("%-", "\\-"):gsub("'", "\\[aq]")
      :gsub("`", "\\[ga]"):gsub("%^", "\\[ha]"):gsub("~", "\\[ti]")
  lines = ("\n" .. lines):gsub("\n%.", "\n\\&."):sub(2)
  return pandoc.RawBlock("man", ".IP\n.EX\n" .. lines .. "\n.EE")
end

-- The blocks below the heading `title`, up to the next one of its level.
local function part(blocks, title)
  local taken, level = pandoc.List{}, nil
  for _, block in ipairs(blocks) do
    if block.t == "Header" then
      if level and block.level <= level then break end
      if text(block) == title then level = block.level end
    end
    if level and not (block.t == "Header" and text(block) == title) then taken:insert(block) end
  end
  if not level then error("there is no heading " .. title) end
  return taken
end

local function section(title, ...)
  return pandoc.List{pandoc.Header(1, pandoc.Str(title)), ...}
end

local function page(doc)
  local blocks = pandoc.List(doc.blocks)
  if blocks[1].t == "Header" then blocks:remove(1) end
  if settings.only ~= "" then blocks = part(blocks, settings.only) end
  local lowest = 9
  for _, block in ipairs(blocks) do
    if block.t == "Header" then lowest = math.min(lowest, block.level) end
  end
  local body = section("NAME", pandoc.Para{pandoc.Str(settings.page .. " - " .. settings.about)})
  local lines = pandoc.List{}
  local synopsis = doc.meta.synopsis
  if type(synopsis) == "string" then synopsis = {synopsis} end
  for i, line in ipairs(synopsis) do
    if i > 1 then lines:insert(pandoc.LineBreak()) end
    lines:insert(pandoc.Strong{pandoc.Str(text(line))})
  end
  body:extend(section("SYNOPSIS", pandoc.Para(lines)))
  body:extend(section("DESCRIPTION"))
  for _, block in ipairs(blocks) do
    if block.t == "Header" then
      local title = text(block)
      block = pandoc.Header(block.level - lowest + 1,
                            pandoc.Str(block.level == lowest and title:upper() or title))
    end
    body:insert(block)
  end
  return pandoc.Pandoc(body, {title = settings.page, section = settings.section})
end

return {
  {Meta = function(meta)
    for _, name in ipairs{"page", "section", "about", "only", "package"} do
      settings[name] = meta[name] and text(meta[name]) or ""
    end
  end},
  {
    Code = function(code) return pandoc.Strong{pandoc.Str(code.text)} end,
    CodeBlock = verbatim,
    Image = function() return {} end,
    RawInline = function() return {} end,
    Link = link,
    Table = definitions,
  },
  {Pandoc = page},
}
