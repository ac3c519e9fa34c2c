// The same store written by hand in Node, as a yardstick: GET and PUT of /context/{id}, and the long
// poll. Usage: node peer.js PORT
'use strict';
const http = require('http');
const contexts = new Map();
const waiting = new Map();

function answer(response, status, value) {
  const text = JSON.stringify(value, null, 4);
  response.writeHead(status, {'Content-Type': 'application/json', 'Content-Length': Buffer.byteLength(text)});
  response.end(text);
}

http.createServer((request, response) => {
  const [, , id, sub] = request.url.split('/');
  if (request.method === 'GET') {
    if (sub === 'event') {
      if (!waiting.has(id)) waiting.set(id, []);
      waiting.get(id).push(response);
    } else {
      answer(response, contexts.has(id) ? 200 : 404, contexts.get(id) || {});
    }
    return;
  }
  const pieces = [];
  request.on('data', piece => pieces.push(piece));
  request.on('end', () => {
    const merged = {...contexts.get(id), ...JSON.parse(Buffer.concat(pieces).toString() || '{}')};
    contexts.set(id, merged);
    answer(response, 200, merged);
    for (const poll of waiting.get(id) || []) answer(poll, 200, merged);
    waiting.delete(id);
  });
}).listen(Number(process.argv[2]), '127.0.0.1');
