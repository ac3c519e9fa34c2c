-- wrk: every request changes the context. The requests are made beforehand: to make one takes longer
-- than to answer it.
local requests, count = {}, 0
init = function()
  local fill = string.rep("x", 990)
  wrk.method = "PUT"
  wrk.headers["Content-Type"] = "application/json"
  for i = 1, 1000 do
    requests[i] = wrk.format(nil, nil, nil, string.format('{"n":"%08d","text":"%s"}', i, fill))
  end
end
request = function()
  count = count % #requests + 1
  return requests[count]
end
