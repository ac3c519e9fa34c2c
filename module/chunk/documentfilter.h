#pragma once

namespace domain {
class DocumentReference;
}

/// Whether `candidate` is what `filter` asks for. Only the filter's status, type and the URLs of
/// its content count, each only where the filter gives one; an empty filter matches every document.
/// URLs are compared place by place. A filter with a type system matches none of the entries that
/// this system writes, because their type reads back as an empty coding; requesters filter by URL.
bool matches(const domain::DocumentReference &candidate, const domain::DocumentReference &filter);
