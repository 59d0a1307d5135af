#include "packets/diagram.h"

#include <algorithm>
#include <unordered_map>

namespace packets {

namespace {

// From the top of a diagram to its bottom: first what splits the rules into few large parts, then
// whom they are about, then what he wants, since rules name one host and many ports. With the
// ports first 2,000 rules take three times as long. Questions come last, in their own order.
constexpr FieldId kOrder[] = {
    kIn,
    kBridgePort,
    kOut,
    kBridgePortOut,
    kMark,
    kEtherType,
    kState,
    kProtocol,
    kTcpFlags,
    kIcmpType,
    kSource,
    kSourceMac,
    kDestinationMac,
    kDestination,
    kDestinationPort,
    kSourcePort,
    kLength,
    kSegmentSize,
};
static_assert(std::size(kOrder) == kFields);

constexpr std::array<uint32_t, kFields> kLevels = [] {
  std::array<uint32_t, kFields> levels = {};
  for (uint32_t level = 0; level < kFields; level++) levels[kOrder[level]] = level;
  return levels;
}();

uint32_t levelOf(FieldId field) {
  return field < kFields ? kLevels[field] : field;
}

FieldId fieldAt(uint32_t level) {
  return level < kFields ? kOrder[level] : static_cast<FieldId>(level);
}

uint64_t mix(uint64_t hash, uint64_t value) {
  hash = (hash ^ value) * 0x9e3779b97f4a7c15;
  return hash ^ hash >> 32;
}

// A set that is merged with one that does not look at the field has this edge only.
constexpr uint32_t kWhole = UINT32_MAX;

}  // namespace

const Diagrams::Node *Diagrams::Done::find(uint64_t key) const {
  const size_t mask = places_.size() - 1;
  for (size_t place = mix(0, key) & mask;; place = (place + 1) & mask) {
    if (places_[place].key == key) return &places_[place].node;
    if (places_[place].key == kFree) return nullptr;
  }
}

// The first that is free for a key that is not there.
Diagrams::Done::Place &Diagrams::Done::placeOf(uint64_t key) {
  const size_t mask = places_.size() - 1;
  size_t place = mix(0, key) & mask;
  while (places_[place].key != kFree) place = (place + 1) & mask;
  return places_[place];
}

Diagrams::Node Diagrams::Done::put(uint64_t key, Node node) {
  if (++taken_ * 2 > places_.size()) {
    std::vector<Place> old(places_.size() * 4);
    old.swap(places_);
    for (const Place &each : old) {
      if (each.key != kFree) placeOf(each.key) = each;
    }
  }
  placeOf(key) = {key, node};
  return node;
}

Diagrams::Diagrams() : places_(1 << 16), choices_(1 << 16) {
  entries_.reserve(1 << 16);
  edges_.reserve(1 << 20);
  for (uint32_t value : {kNone, kAll}) entries_.push_back({kConstant, 0, 0, value, 0});
}

Diagrams::Node Diagrams::constant(uint32_t value) {
  return value <= kAll ? value
                       : known({kConstant, 0, 0, value, static_cast<uint32_t>(mix(0, value))});
}

// The node with these edges, which stand last in edges_ and are taken away when it is an old one.
Diagrams::Node Diagrams::known(const Entry &entry) {
  const size_t mask = places_.size() - 1;
  size_t place = entry.hash & mask;
  for (; places_[place] != kNone; place = (place + 1) & mask) {
    const Entry &other = entries_[places_[place]];
    if (other.hash != entry.hash || other.level != entry.level || other.most != entry.most ||
        !std::equal(edges_.data() + entry.begin, edges_.data() + entry.end,
                    edges_.data() + other.begin, edges_.data() + other.end)) {
      continue;
    }
    if (entry.begin < entry.end) edges_.resize(entry.begin);
    return places_[place];
  }
  const auto node = static_cast<Node>(entries_.size());
  places_[place] = node;
  entries_.push_back(entry);
  if (entries_.size() * 2 > places_.size()) grow();
  return node;
}

void Diagrams::grow() {
  places_.assign(places_.size() * 4, kNone);
  choices_.assign(places_.size(), {});
  const size_t mask = places_.size() - 1;
  for (Node node = kAll + 1; node < entries_.size(); node++) {
    size_t place = entries_[node].hash & mask;
    while (places_[place] != kNone) place = (place + 1) & mask;
    places_[place] = node;
  }
}

// Adds an edge to those of scratch_ from `begin` on.
void Diagrams::add(size_t begin, Edge edge) {
  if (scratch_.size() > begin && scratch_.back().to == edge.to) {
    scratch_.back().last = edge.last;
  } else {
    scratch_.push_back(edge);
  }
}

// The node with the edges of scratch_ from `begin` on.
Diagrams::Node Diagrams::made(uint32_t level, size_t begin) {
  Node node = scratch_[begin].to;
  if (scratch_.size() > begin + 1) {
    Entry entry = {level, static_cast<uint32_t>(edges_.size()), 0, 0, 0};
    uint64_t hash = level;
    for (size_t i = begin; i < scratch_.size(); i++) {
      hash = mix(hash, scratch_[i].last * 31 + scratch_[i].to);
      entry.most = std::max(entry.most, entries_[scratch_[i].to].most);
    }
    entry.hash = static_cast<uint32_t>(hash);
    edges_.insert(edges_.end(), scratch_.begin() + static_cast<long>(begin), scratch_.end());
    entry.end = static_cast<uint32_t>(edges_.size());
    node = known(entry);
  }
  scratch_.resize(begin);
  return node;
}

// One node out of some, by their first field: each of its edges is what `each` makes of theirs.
template <size_t N, typename Each>
Diagrams::Node Diagrams::merge(const std::array<Node, N> &nodes, const Each &each) {
  uint32_t level = kConstant;
  for (Node node : nodes) level = std::min(level, entries_[node].level);
  std::array<uint32_t, N> at;
  for (size_t i = 0; i < N; i++) {
    const Entry &entry = entries_[nodes[i]];
    at[i] = entry.level == level ? entry.begin : kWhole;
  }
  const uint64_t largest = largestOf(fieldAt(level));
  const size_t begin = scratch_.size();
  for (uint64_t last = 0; last < largest;) {
    std::array<Node, N> to = nodes;
    last = largest;
    for (size_t i = 0; i < N; i++) {
      if (at[i] == kWhole) continue;
      to[i] = edges_[at[i]].to;
      last = std::min(last, edges_[at[i]].last);
    }
    for (uint32_t &edge : at) {
      if (edge != kWhole && edges_[edge].last == last) edge++;
    }
    add(begin, {last, each(to)});
  }
  return made(level, begin);
}

// A function with the nodes that `stop` gives in place of its own, from the top on.
template <typename Stop>
Diagrams::Node Diagrams::rebuild(Node node, const Stop &stop, Done &done) {
  if (std::optional<Node> instead = stop(node)) return *instead;
  if (const Node *known = done.find(node)) return *known;
  return done.put(node, merge<1>({node}, [&](const std::array<Node, 1> &to) {
                    return rebuild(to[0], stop, done);
                  }));
}

Diagrams::Node Diagrams::set(const Conditions &conditions) {
  std::map<uint32_t, IntervalSet> values;  // by level
  for (const Condition &each : conditions) {
    const auto [at, first] = values.try_emplace(levelOf(each.field), each.values);
    if (!first) at->second = at->second.intersection(each.values);
  }
  Node set = kAll;
  for (auto at = values.rbegin(); at != values.rend(); ++at) {
    const uint64_t largest = largestOf(fieldAt(at->first));
    const size_t begin = scratch_.size();
    uint64_t next = 0;  // value that no edge has yet
    for (const Interval &each : at->second.intervals()) {
      if (each.first > largest) break;
      if (each.first > next) add(begin, {each.first - 1, kNone});
      next = std::min(each.last, largest) + 1;
      add(begin, {next - 1, set});
    }
    if (next <= largest) add(begin, {largest, kNone});
    set = made(at->first, begin);
  }
  return set;
}

Diagrams::Node Diagrams::choose(Node set, Node then, Node otherwise) {
  if (set == kNone || then == otherwise) return otherwise;
  if (isConstant(set)) return then;
  if (otherwise == kNone && (then == set || (then == kAll && entries_[set].most == 1))) return set;
  const auto place = [&] { return mix(mix(set, then), otherwise) & (choices_.size() - 1); };
  const Choice &known = choices_[place()];
  if (known.set == set && known.then == then && known.otherwise == otherwise) return known.chosen;
  const Node chosen = merge<3>({set, then, otherwise}, [&](const std::array<Node, 3> &to) {
    return choose(to[0], to[1], to[2]);
  });
  choices_[place()] = {set, then, otherwise, chosen};
  return chosen;
}

Diagrams::Node Diagrams::combine(Node one, Node two,
                                 const std::function<uint32_t(uint32_t, uint32_t)> &value) {
  Done done;
  const std::function<Node(const std::array<Node, 2> &)> combined =
      [&](const std::array<Node, 2> &pair) {
        const uint64_t key = uint64_t{pair[0]} << 32 | pair[1];
        if (const Node *known = done.find(key)) return *known;
        if (!isConstant(pair[0]) || !isConstant(pair[1])) {
          return done.put(key, merge(pair, combined));
        }
        return done.put(key, constant(value(entries_[pair[0]].most, entries_[pair[1]].most)));
      };
  return combined({one, two});
}

Diagrams::Node Diagrams::differing(Node one, Node two) {
  Done done;
  const std::function<Node(const std::array<Node, 2> &)> differ =
      [&](const std::array<Node, 2> &pair) {
        if (pair[0] == pair[1]) return kNone;
        if (isConstant(pair[0]) && isConstant(pair[1])) return kAll;
        const uint64_t key = uint64_t{pair[0]} << 32 | pair[1];
        const Node *known = done.find(key);
        return known != nullptr ? *known : done.put(key, merge(pair, differ));
      };
  return differ({one, two});
}

Diagrams::Node Diagrams::map(Node function, const std::function<uint32_t(uint32_t)> &value) {
  Done done;
  return rebuild(
      function,
      [&](Node node) -> std::optional<Node> {
        if (!isConstant(node)) return {};
        if (const Node *known = done.find(node)) return *known;
        return done.put(node, constant(value(entries_[node].most)));
      },
      done);
}

Diagrams::Node Diagrams::where(Node function, const std::function<bool(uint32_t)> &value) {
  return map(function, [&](uint32_t each) -> uint32_t { return value(each); });
}

Diagrams::Node Diagrams::with(Node function, const std::map<FieldId, uint64_t> &values) {
  struct Fixed {
    Diagrams &diagrams;
    std::vector<std::optional<uint64_t>> values;  // by level, of which the lowest is the last
    Done &done;

    std::optional<Node> operator()(Node node) const {
      const uint32_t level = diagrams.entries_[node].level;
      if (level >= values.size()) return node;
      if (!values[level]) return {};
      return diagrams.rebuild(diagrams.edgeOf(node, *values[level]).to, *this, done);
    }
  };
  Done done;
  Fixed fixed = {*this, {}, done};
  for (const auto &[field, value] : values) {
    const uint32_t level = levelOf(field);
    if (level >= fixed.values.size()) fixed.values.resize(level + 1);
    fixed.values[level] = value;
  }
  return rebuild(function, fixed, done);
}

Diagrams::Node Diagrams::fold(Node set, FieldId field, Node (Diagrams::*join)(Node, Node)) {
  Done done;
  return rebuild(
      set,
      [&](Node node) -> std::optional<Node> {
        const Entry entry = entries_[node];
        if (entry.level < levelOf(field)) return {};
        if (entry.level > levelOf(field)) return node;
        Node folded = edges_[entry.begin].to;
        for (uint32_t i = entry.begin + 1; i < entry.end; i++) {
          folded = (this->*join)(folded, edges_[i].to);
        }
        return folded;
      },
      done);
}

// Questions stand lowest, and a node that is not kNone leads to a packet.
Diagrams::Node Diagrams::forSomeAnswer(Node set) {
  Done done;
  return rebuild(
      set,
      [&](Node node) -> std::optional<Node> {
        if (entries_[node].level < kFields) return {};
        return node == kNone ? kNone : kAll;
      },
      done);
}

Diagrams::Node Diagrams::forAllAnswers(Node set) {
  return complement(forSomeAnswer(complement(set)));
}

Diagrams::Node Diagrams::renamed(Node function, const std::map<FieldId, FieldId> &questions) {
  Done done, asked;
  const std::function<Node(Node)> below = [&](Node node) -> Node {
    if (isConstant(node)) return node;
    if (const Node *known = asked.find(node)) return *known;
    const FieldId field = fieldAt(entries_[node].level);
    const auto other = questions.find(field);
    const Node no = below(edgeOf(node, 0).to), yes = below(edgeOf(node, 1).to);
    const FieldId question = other == questions.end() ? field : other->second;
    return asked.put(node, choose(set({question, IntervalSet::one(1)}), yes, no));
  };
  return rebuild(
      function,
      [&](Node node) -> std::optional<Node> {
        if (entries_[node].level < kFields) return {};
        return below(node);
      },
      done);
}

const Diagrams::Edge &Diagrams::edgeOf(Node node, uint64_t value) const {
  const Entry &entry = entries_[node];
  return *std::lower_bound(edges_.begin() + entry.begin, edges_.begin() + (entry.end - 1), value,
                           [](const Edge &each, uint64_t wanted) { return each.last < wanted; });
}

uint32_t Diagrams::value(Node function, const Packet &packet) const {
  while (!isConstant(function)) {
    function = edgeOf(function, packet[fieldAt(entries_[function].level)]).to;
  }
  return entries_[function].most;
}

// Calls `each` with every node below one, itself included, once. It says whether to go on below,
// and makes no visit of its own.
template <typename Each>
void Diagrams::visit(Node function, const Each &each) const {
  std::vector<Node> waiting = {function};
  visited_.resize(entries_.size());
  visits_++;
  while (!waiting.empty()) {
    const Entry &entry = entries_[waiting.back()];
    waiting.pop_back();
    if (!each(entry)) continue;
    for (uint32_t i = entry.begin; i < entry.end; i++) {
      uint32_t &visited = visited_[edges_[i].to];
      if (visited != visits_) waiting.push_back(edges_[i].to);
      visited = visits_;
    }
  }
}

std::vector<uint32_t> Diagrams::values(Node function) const {
  std::vector<uint32_t> values;
  visit(function, [&](const Entry &entry) {
    if (entry.level == kConstant) values.push_back(entry.most);
    return true;
  });
  std::sort(values.begin(), values.end());
  return values;
}

std::set<FieldId> Diagrams::fieldsOf(Node function) const {
  std::set<FieldId> fields;
  visit(function, [&](const Entry &entry) {
    if (entry.level != kConstant) fields.insert(fieldAt(entry.level));
    return true;
  });
  return fields;
}

// Every node that is not kNone leads to a packet; one below the field does so for all its values.
IntervalSet Diagrams::valuesOf(Node set, FieldId field) const {
  std::vector<Interval> found;
  visit(set, [&](const Entry &entry) {
    if (entry.level < levelOf(field)) return true;
    if (entry.level > levelOf(field)) {
      if (entry.level != kConstant || entry.most != 0) found.push_back({0, largestOf(field)});
      return false;
    }
    uint64_t first = 0;
    for (uint32_t i = entry.begin; i < entry.end; i++) {
      if (edges_[i].to != kNone) found.push_back({first, edges_[i].last});
      first = edges_[i].last + 1;
    }
    return false;
  });
  std::sort(found.begin(), found.end(),
            [](const Interval &one, const Interval &other) { return one.first < other.first; });
  IntervalSet values;
  for (const Interval &each : found) values.add(each);
  return values;
}

// By halves: the function for the lower values of the field, and for the upper ones.
std::vector<std::pair<IntervalSet, Diagrams::Node>> Diagrams::parts(Node function, FieldId field) {
  const uint32_t level = levelOf(field);
  std::map<Node, IntervalSet> parts;
  const std::function<void(Node, Interval)> split = [&](Node half, Interval values) {
    std::set<uint64_t> ends;
    visit(half, [&](const Entry &entry) {
      for (uint32_t i = entry.begin; entry.level == level && i + 1 < entry.end; i++) {
        ends.insert(edges_[i].last);
      }
      return entry.level < level;
    });
    if (ends.empty()) return parts[half].add(values);
    const uint64_t middle = *std::next(ends.begin(), static_cast<long>((ends.size() - 1) / 2));
    for (const Interval &part :
         {Interval{values.first, middle}, Interval{middle + 1, values.last}}) {
      Done done;
      const Node narrowed = rebuild(
          half,
          [&](Node node) -> std::optional<Node> {
            const Entry entry = entries_[node];
            if (entry.level < level) return {};
            if (entry.level > level) return node;
            const size_t begin = scratch_.size();
            for (uint32_t i = entry.begin; i < entry.end; i++) {
              const bool last = edges_[i].last >= part.last;
              if (edges_[i].last >= part.first) {
                add(begin, {last ? largestOf(field) : edges_[i].last, edges_[i].to});
              }
              if (last) break;
            }
            return made(level, begin);
          },
          done);
      split(narrowed, part);
    }
  };
  split(function, {0, largestOf(field)});
  std::vector<std::pair<IntervalSet, Node>> found;
  for (auto &[node, values] : parts) found.emplace_back(std::move(values), node);
  std::sort(found.begin(), found.end(), [](const auto &one, const auto &other) {
    return one.first.intervals()[0].first < other.first.intervals()[0].first;
  });
  return found;
}

// From the bottom up: of each node the values that are below it, in ascending order, with what
// leads to them.
std::vector<std::pair<uint32_t, Diagrams::Node>> Diagrams::parts(Node function) {
  using Parts = std::vector<std::pair<uint32_t, Node>>;
  struct Piece {
    uint32_t value;
    Interval values;  // of the field
    Node to;
  };
  std::unordered_map<Node, Parts> known;
  const std::function<const Parts &(Node)> partsOf = [&](Node node) -> const Parts & {
    const auto [found, unknown] = known.try_emplace(node);
    Parts &parts = found->second;
    if (!unknown) return parts;
    const Entry entry = entries_[node];  // nodes that are made move it
    if (entry.level == kConstant) return parts = {{entry.most, kAll}};
    std::vector<Piece> pieces;
    uint64_t first = 0;
    for (uint32_t i = entry.begin; i < entry.end; i++) {
      const Edge edge = edges_[i];
      for (const auto &[value, to] : partsOf(edge.to)) {
        pieces.push_back({value, {first, edge.last}, to});
      }
      first = edge.last + 1;
    }
    std::stable_sort(pieces.begin(), pieces.end(),
                     [](const Piece &one, const Piece &other) { return one.value < other.value; });
    const uint64_t largest = largestOf(fieldAt(entry.level));
    for (auto piece = pieces.begin(); piece != pieces.end();) {
      const uint32_t value = piece->value;
      const size_t begin = scratch_.size();
      uint64_t next = 0;  // value of the field that no edge has yet
      for (; piece != pieces.end() && piece->value == value; ++piece) {
        if (piece->values.first > next) add(begin, {piece->values.first - 1, kNone});
        add(begin, {piece->values.last, piece->to});
        next = piece->values.last + 1;
      }
      if (next <= largest) add(begin, {largest, kNone});
      parts.emplace_back(value, made(entry.level, begin));
    }
    return parts;
  };
  return partsOf(function);
}

// A value with which a node does not lead to kNone: of an interval one that is not at its edge,
// where it is wide.
uint64_t Diagrams::wished(const Entry &entry, const std::vector<IntervalSet> &wishes) const {
  IntervalSet possible;
  uint64_t first = 0;
  for (uint32_t i = entry.begin; i < entry.end; i++) {
    if (edges_[i].to != kNone) possible.add({first, edges_[i].last});
    first = edges_[i].last + 1;
  }
  for (const IntervalSet &each : wishes) {
    const IntervalSet both = possible.intersection(each);
    if (both.empty()) continue;
    possible = both;
    break;
  }
  constexpr uint64_t kInside = 10;
  const Interval &values = possible.intervals()[0];
  return values.first + std::min((values.last - values.first) / 2, kInside);
}

std::optional<Packet> Diagrams::witness(Node set, const Packet &like, const Wishes &wishes) const {
  static const std::vector<IntervalSet> kNoWish;
  if (set == kNone) return {};
  Packet packet = like;
  while (!isConstant(set)) {
    const Entry &entry = entries_[set];
    const FieldId field = fieldAt(entry.level);
    // Every node that is not kNone leads to a packet, so any such edge will do.
    if (edgeOf(set, packet[field]).to == kNone) {
      const auto wish = wishes.find(field);
      packet[field] = wished(entry, wish == wishes.end() ? kNoWish : wish->second);
    }
    set = edgeOf(set, packet[field]).to;
  }
  return packet;
}

void Diagrams::boxes(Node set, const std::function<void(const Conditions &)> &each) const {
  Conditions box;
  const std::function<void(Node)> follow = [&](Node node) {
    if (node == kNone) return;
    if (isConstant(node)) return each(box);
    const Entry entry = entries_[node];               // `each` may make nodes
    std::vector<std::pair<Node, IntervalSet>> parts;  // by where they lead
    uint64_t first = 0;
    for (uint32_t i = entry.begin; i < entry.end; i++) {
      const auto found = std::find_if(parts.begin(), parts.end(),
                                      [&](const auto &part) { return part.first == edges_[i].to; });
      IntervalSet &values =
          (found == parts.end() ? parts.emplace_back(edges_[i].to, IntervalSet()) : *found).second;
      values.add({first, edges_[i].last});
      first = edges_[i].last + 1;
    }
    for (auto &[to, values] : parts) {
      box.push_back({fieldAt(entry.level), std::move(values)});
      follow(to);
      box.pop_back();
    }
  };
  follow(set);
}

}  // namespace packets
