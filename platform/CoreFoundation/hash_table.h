/// The hash table of dictionaries and sets. Entries are in the order of their insertion. Up to
/// kMaxUnindexed entries are searched one by one, more of them through an index after the entries.
#pragma once

#include <span>

#include "callbacks.h"

namespace cf {

struct Entry {
  const void* key;
  const void* value;  // NULL in sets
};

/// A whole CFDictionary or CFSet. The entries and index of an immutable one follow it; those of a
/// mutable one are in a separate block.
struct HashTable {
  CFRuntimeBase base;
  std::uint32_t count;
  std::uint32_t capacity;
  Entry* entries;
  const CallBacks* callbacks;

  std::span<Entry> all() const noexcept { return {entries, count}; }
  bool is_mutable() const noexcept;
};

/// A new table that can't grow, with room for `capacity` entries. NULL when memory is short.
HashTable* create_table(CFAllocatorRef allocator, TypeID type, std::size_t capacity,
                        const CallBacks* callbacks) noexcept;
/// A new table that grows. NULL when memory is short.
HashTable* create_growing_table(CFAllocatorRef allocator, TypeID type,
                                const CallBacks* callbacks) noexcept;

/// The entry of an equal key, or NULL; valid until the table changes.
Entry* find(const HashTable& table, const void* key);
/// The entry of an equal key; else NULL after adding `entry`, for which there must be room. Takes
/// over the caller's references only in that case.
Entry* find_or_insert(HashTable& table, Entry entry);
/// Loads the memory that a look-up of `key` will read into the processor's cache.
void prefetch(const HashTable& table, const void* key);
/// Adds an entry whose key isn't in the table yet; takes over the caller's references. The table
/// must have room or be able to grow.
void insert(HashTable& table, Entry entry);
/// Removes the entry from a table that can grow, and releases the table's references. The last
/// entry takes its place.
void erase(HashTable& table, Entry* entry);

/// Retains key and value and inserts them.
void insert_retained(HashTable& table, Entry entry);

// The runtime functions of both types.
void finalize_table(CFTypeRef cf);
Boolean equal_tables(CFTypeRef cf1, CFTypeRef cf2);
CFHashCode hash_of_table(CFTypeRef cf);
/// `kind` is "dict" or "set"; a dictionary's entries are shown with their values.
CFStringRef copy_table_description(CFTypeRef cf, std::string_view kind) noexcept;

}  // namespace cf
