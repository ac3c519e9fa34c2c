// The same store written by hand in Node, as a yardstick: GET and PUT of /context/{id}, the long
// poll, and merging by POST /exchange/chunks. Usage: node peer.js PORT
'use strict';
const http = require('http');
const {mergeChunk} = require('./merge.js');
const contexts = new Map();
const waiting = new Map();

function tellWaiting(id, context) {
  for (const poll of waiting.get(id) || []) answer(poll, 200, context);
  waiting.delete(id);
}

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
    const posted = JSON.parse(Buffer.concat(pieces).toString() || '{}');
    if (request.url === '/exchange/chunks') {
      mergeChunk(contexts, posted, tellWaiting);
      answer(response, 202, {delivered: 1});
      return;
    }
    const merged = {...contexts.get(id), ...posted};
    contexts.set(id, merged);
    answer(response, 200, merged);
    tellWaiting(id, merged);
  });
}).listen(Number(process.argv[2]), '127.0.0.1');
