#include "hash_table.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace cf {
namespace {

constexpr Flags kMutable = 1;
constexpr std::size_t kMaxUnindexed = 8;
constexpr std::size_t kMinCapacity = 4;

/// One slot of the index: the position of an entry and its hash, so that most different keys are
/// skipped without comparing them. Collisions go to the next free slot.
struct Slot {
  std::uint32_t hash;
  std::uint32_t position_plus_one;  // 0: free
};

/// At most two thirds of the slots are in use.
std::size_t slot_count(std::size_t capacity) noexcept {
  return capacity <= kMaxUnindexed ? 0 : std::bit_ceil(capacity + capacity / 2);
}

std::size_t storage_size(std::size_t capacity) noexcept {
  return capacity * sizeof(Entry) + slot_count(capacity) * sizeof(Slot);
}

std::span<Slot> index_of(const HashTable& table) noexcept {
  return {reinterpret_cast<Slot*>(table.entries + table.capacity), slot_count(table.capacity)};
}

std::uint32_t hash_of(const HashTable& table, const void* key) {
  return static_cast<std::uint32_t>(scramble(table.callbacks->keys.hash(key)));
}

/// The first slot at or after `hash`'s home that is free or satisfies `matches`.
template <typename Matches>
Slot& probe(std::span<Slot> index, std::uint32_t hash, const Matches& matches) {
  std::size_t at = hash & (index.size() - 1);
  while (index[at].position_plus_one != 0 && !matches(index[at]))
    at = (at + 1) & (index.size() - 1);
  return index[at];
}

/// The slot of an equal key, or the free one where `key` belongs.
Slot& probe_for(const HashTable& table, std::uint32_t hash, const void* key) {
  return probe(index_of(table), hash, [&](const Slot& slot) {
    return slot.hash == hash &&
           table.callbacks->keys.same(table.entries[slot.position_plus_one - 1].key, key);
  });
}

Slot& slot_at_position(std::span<Slot> index, std::uint32_t hash, std::size_t position) {
  return probe(index, hash,
               [position](const Slot& slot) { return slot.position_plus_one == position + 1; });
}

void add_to_index(const HashTable& table, std::size_t position) {
  const std::span<Slot> index = index_of(table);
  if (index.empty()) return;
  const std::uint32_t hash = hash_of(table, table.entries[position].key);
  probe(index, hash, [](const Slot&) { return false; }) = {
      hash, static_cast<std::uint32_t>(position + 1)};
}

/// Frees the slot and closes the gap, so that no probe stops before the entry that it searches.
void remove_from_index(std::span<Slot> index, Slot& removed) {
  const std::size_t mask = index.size() - 1;
  std::size_t gap = static_cast<std::size_t>(&removed - index.data());
  for (std::size_t at = (gap + 1) & mask; index[at].position_plus_one != 0; at = (at + 1) & mask) {
    const std::size_t home = index[at].hash & mask;
    if (((at - home) & mask) >= ((at - gap) & mask)) {
      index[gap] = index[at];
      gap = at;
    }
  }
  index[gap] = {};
}

void grow(HashTable& table) {
  const std::size_t capacity = std::max(kMinCapacity, 2 * std::size_t{table.capacity});
  void* const storage = capacity > std::numeric_limits<std::uint32_t>::max()
                            ? nullptr
                            : std::calloc(1, storage_size(capacity));
  if (storage == nullptr) fatal("no memory for a hash table");
  Entry* const entries = static_cast<Entry*>(storage);
  std::ranges::copy(table.all(), entries);
  std::free(table.entries);
  table.entries = entries;
  table.capacity = static_cast<std::uint32_t>(capacity);
  for (std::size_t i = 0; i < table.count; ++i) add_to_index(table, i);
}

}  // namespace

bool HashTable::is_mutable() const noexcept { return flags_of(base) == kMutable; }

HashTable* create_table(CFAllocatorRef allocator, TypeID type, std::size_t capacity,
                        const CallBacks* callbacks) noexcept {
  if (capacity > std::numeric_limits<std::uint32_t>::max()) return nullptr;
  HashTable* const table = create<HashTable>(allocator, type, storage_size(capacity));
  if (table == nullptr) return nullptr;
  table->count = 0;
  table->capacity = static_cast<std::uint32_t>(capacity);
  table->entries = reinterpret_cast<Entry*>(table + 1);
  table->callbacks = callbacks;
  std::ranges::fill(index_of(*table), Slot{});
  return table;
}

HashTable* create_growing_table(CFAllocatorRef allocator, TypeID type,
                                const CallBacks* callbacks) noexcept {
  HashTable* const table = create<HashTable>(allocator, type, /*trailing=*/0, kMutable);
  if (table == nullptr) return nullptr;
  table->count = 0;
  table->capacity = 0;
  table->entries = nullptr;
  table->callbacks = callbacks;
  return table;
}

Entry* find(const HashTable& table, const void* key) {
  const std::span<Entry> entries = table.all();
  if (index_of(table).empty()) {
    const auto found = std::ranges::find_if(
        entries, [&](const Entry& entry) { return table.callbacks->keys.same(entry.key, key); });
    return found == entries.end() ? nullptr : &*found;
  }
  const Slot& slot = probe_for(table, hash_of(table, key), key);
  return slot.position_plus_one == 0 ? nullptr : &entries[slot.position_plus_one - 1];
}

Entry* find_or_insert(HashTable& table, Entry entry) {
  const std::span<Slot> index = index_of(table);
  if (index.empty()) {
    Entry* const found = find(table, entry.key);
    if (found == nullptr) table.entries[table.count++] = entry;
    return found;
  }
  const std::uint32_t hash = hash_of(table, entry.key);
  Slot& slot = probe_for(table, hash, entry.key);
  if (slot.position_plus_one != 0) return &table.entries[slot.position_plus_one - 1];
  table.entries[table.count++] = entry;
  slot = {hash, table.count};
  return nullptr;
}

void prefetch(const HashTable& table, const void* key) {
  const std::span<Slot> index = index_of(table);
  if (!index.empty()) __builtin_prefetch(&index[hash_of(table, key) & (index.size() - 1)]);
}

void insert(HashTable& table, Entry entry) {
  if (table.count == table.capacity) grow(table);
  table.entries[table.count] = entry;
  add_to_index(table, table.count);
  ++table.count;
}

void insert_retained(HashTable& table, Entry entry) {
  insert(table, {table.callbacks->keys.take(entry.key), table.callbacks->values.take(entry.value)});
}

void erase(HashTable& table, Entry* entry) {
  const Entry removed = *entry;
  const std::size_t position = static_cast<std::size_t>(entry - table.entries);
  const std::size_t last = table.count - 1;
  if (const std::span<Slot> index = index_of(table); !index.empty()) {
    remove_from_index(index, slot_at_position(index, hash_of(table, removed.key), position));
    if (position != last) {
      slot_at_position(index, hash_of(table, table.entries[last].key), last).position_plus_one =
          static_cast<std::uint32_t>(position + 1);
    }
  }
  *entry = table.entries[last];
  --table.count;
  table.callbacks->keys.drop(removed.key);
  table.callbacks->values.drop(removed.value);
}

void finalize_table(CFTypeRef cf) {
  const HashTable& table = *static_cast<const HashTable*>(cf);
  const CallBacks& callbacks = *table.callbacks;
  for (const Entry& entry : table.all()) {
    callbacks.keys.drop(entry.key);
    callbacks.values.drop(entry.value);
  }
  if (table.is_mutable()) std::free(table.entries);
}

Boolean equal_tables(CFTypeRef cf1, CFTypeRef cf2) {
  const HashTable& a = *static_cast<const HashTable*>(cf1);
  const HashTable& b = *static_cast<const HashTable*>(cf2);
  if (a.count != b.count) return false;
  return std::ranges::all_of(a.all(), [&](const Entry& entry) {
    const Entry* const other = find(b, entry.key);
    return other != nullptr && a.callbacks->values.same(entry.value, other->value);
  });
}

CFHashCode hash_of_table(CFTypeRef cf) {
  return scramble(static_cast<const HashTable*>(cf)->count);
}

CFStringRef copy_table_description(CFTypeRef cf, std::string_view kind) noexcept {
  const HashTable& table = *static_cast<const HashTable*>(cf);
  const bool is_dictionary = CFGetTypeID(cf) == kDictionary;
  std::string text = description_head(cf, "CFBasicHash");
  text.append("{type = ").append(table.is_mutable() ? "mutable " : "immutable ").append(kind);
  text.append(", count = ").append(std::to_string(table.count)).append(",\nentries =>\n");
  std::size_t number = 0;
  for (const Entry& entry : table.all()) {
    text.append("\t").append(std::to_string(number++)).append(" : ");
    table.callbacks->keys.describe(entry.key, text);
    if (is_dictionary) {
      text += " = ";
      table.callbacks->values.describe(entry.value, text);
    }
    text += '\n';
  }
  text += "}\n";
  return make_cfstring(text).release();
}

}  // namespace cf
