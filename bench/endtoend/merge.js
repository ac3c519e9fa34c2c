// Merging a chunk's entries into every context that its filter fits, as one would write it by hand
// in Node: new items first, then the present ones that they do not replace, and the change told
// only when there is one. Used by peer.js. Run by itself it prints the microseconds that 1,000
// entries into 2,000 items take, on the data of bench_merge's merge1000Into2000.
'use strict';
const {isDeepStrictEqual} = require('util');

function fits(filter, context) {
  for (const key of Object.keys(filter)) {
    const wanted = filter[key], present = context[key];
    const both = wanted && present && typeof wanted === 'object' && typeof present === 'object';
    if (both && !Array.isArray(wanted) ? !fits(wanted, present) : !isDeepStrictEqual(wanted, present))
      return false;
  }
  return true;
}

function merged(existing, entries) {
  const items = [], ids = new Set();
  for (const {resource} of entries) {
    if (!resource) continue;
    items.push(resource);
    ids.add(resource.id);
  }
  for (const item of existing) {
    if (ids.has(item.id)) continue;
    items.push(item);
    ids.add(item.id);
  }
  return items;
}

// Calls `changed(id, context)` for every context that is another one afterwards.
function mergeChunk(contexts, chunk, changed) {
  const {filter, matchingItems} = chunk.body;
  for (const [id, context] of contexts) {
    if (!fits(filter, context)) continue;
    const items = merged(context.matchingItems || [], matchingItems.entry);
    const differs = !isDeepStrictEqual(items, context.matchingItems);
    const now = {...context, matchingItems: items};
    contexts.set(id, now);
    if (differs) changed(id, now);
  }
}

function item(id, version) {
  return {id: `item-${id}`, resourceType: 'Observation', status: 'final', version};
}

function measure() {
  const present = Array.from({length: 2000}, (_, id) => item(id, 0));
  const entry = Array.from({length: 1000}, (_, i) => ({resource: item(i % 2 ? 1000000 + i : i, 1)}));
  const chunk = {body: {filter: {}, matchingItems: {entry}}};
  const contexts = new Map();
  let told = 0, time = 0n;
  const rounds = 3000;
  for (let round = -500; round < rounds; ++round) { // the first ones warm the compiler up
    contexts.set('a', {matchingItems: present});
    const start = process.hrtime.bigint();
    mergeChunk(contexts, chunk, () => ++told);
    if (round >= 0) time += process.hrtime.bigint() - start;
  }
  if (told !== rounds + 500 || contexts.get('a').matchingItems.length !== 2500)
    throw new Error('not merged as expected');
  console.log((Number(time) / 1000 / rounds).toFixed(0));
}

if (require.main === module) measure();
module.exports = {mergeChunk};
