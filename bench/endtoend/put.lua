-- wrk: every request changes the context.
local count = 0
wrk.method = "PUT"
wrk.headers["Content-Type"] = "application/json"
local fill = string.rep("x", 990)
request = function()
  count = count + 1
  return wrk.format(nil, nil, nil, string.format('{"n":"%08d","text":"%s"}', count, fill))
end
