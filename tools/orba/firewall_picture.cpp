#include "tools/orba/firewall_picture.h"

#include <algorithm>
#include <array>
#include <set>
#include <sstream>

#include "tools/orba/firewall_chains.h"
#include "tools/orba/svg.h"

namespace orba::tool {

namespace {

// ---- measures, in pixels ----

constexpr int kFont = 12;
constexpr double kLetter = 7.22;  // width of a monospaced letter of that size
constexpr int kLine = 16;         // from one line of a rule to the next
constexpr int kRowPadding = 6;
constexpr int kHeader = 26;
constexpr int kNumber = 40;  // the column of the rules' numbers
constexpr int kSpine = 40;   // where packets go down
constexpr int kFirstColumn = 100;
constexpr int kOutlet = 124;        // where they leave a box
constexpr int kLane = 8;            // between two edges that run beside each other
constexpr size_t kWidestRule = 62;  // letters of a rule and its target together
constexpr size_t kMostLines = 6;

// ---- colours ----

struct Paint {
  const char *strong;
  const char *pale;
};

constexpr Paint kAccept = {"#116329", "#d3f5da"}, kDrop = {"#a40e26", "#ffdcdc"},
                kReturn = {"#57606a", "#e7eaee"}, kJump = {"#0550ae", "#dbeaff"},
                kTranslate = {"#6639ba", "#ece3ff"}, kNote = {"#7d4e00", "#fff0c2"};
constexpr char kFrame[] = "#b4bcc5", kPath[] = "#57606a";

Paint paintOf(const std::string &target) {
  static const std::map<std::string, Paint> paints = {
      {"ACCEPT", kAccept}, {"CONTINUE", kAccept}, {"DROP", kDrop},      {"REJECT", kDrop},
      {"RETURN", kReturn}, {"DNAT", kTranslate},  {"SNAT", kTranslate}, {"MASQUERADE", kTranslate}};
  auto paint = paints.find(target);
  return paint != paints.end() ? paint->second : kNote;
}

// How a rule that is not as before is marked.
struct Mark {
  const char *sign;
  const char *name;
  const char *bar;
  const char *background;
};

constexpr Mark kMarks[] = {
    {"", "", "none", "#ffffff"},
    {"+", " added", "#1a7f37", "#e3f9e7"},
    {"−", " removed", "#cf222e", "#ffebe9"},
    {"~", " moved", "#bf8700", "#fff8d6"},
};

// ---- the ways of a packet ----

struct Stage {
  enum Way { kThrough, kAside, kFromRouter };
  const char *program, *table, *chain;
  Way way;
  const char *meaning;
  const char *end;  // of what goes aside: where it goes; of what comes from the router: where from
};

constexpr const char *kPrograms = "the router's own programs";

// Where an IP packet's route is looked up, for all stages below.
constexpr size_t kRouted = 5;

constexpr Stage kStages[] = {
    {"ebtables", "broute", "BROUTING", Stage::kThrough, "a frame that came in by the LAN bridge",
     ""},
    {"ebtables", "nat", "PREROUTING", Stage::kThrough, "a frame that came in by the LAN bridge",
     ""},
    {"ebtables", "filter", "FORWARD", Stage::kAside, "a frame for another port of the bridge",
     "out by another port of the bridge"},
    {"ebtables", "filter", "INPUT", Stage::kThrough,
     "a frame that leaves the bridge for the router", ""},
    {"iptables", "nat", "PREROUTING", Stage::kThrough,
     "the first packet of a connection, before its route is looked up", ""},
    {"iptables", "filter", "INPUT", Stage::kAside, "a packet for the router itself", kPrograms},
    {"iptables", "filter", "FORWARD", Stage::kThrough, "a packet for another host", ""},
    {"iptables", "nat", "OUTPUT", Stage::kFromRouter,
     "the first packet of a connection of the router's own", kPrograms},
    {"iptables", "filter", "OUTPUT", Stage::kFromRouter, "a packet of the router's own", kPrograms},
    {"iptables", "nat", "POSTROUTING", Stage::kThrough,
     "the first packet of a connection, before it leaves", ""},
    {"ebtables", "nat", "OUTPUT", Stage::kFromRouter, "a frame of the router's own for the bridge",
     kPrograms},
    {"ebtables", "filter", "OUTPUT", Stage::kFromRouter,
     "a frame of the router's own for the bridge", kPrograms},
    {"ebtables", "nat", "POSTROUTING", Stage::kThrough, "a frame that leaves by the LAN bridge",
     ""},
};

// ---- boxes ----

struct Row {
  const DrawnRule *rule = nullptr;
  std::vector<std::string> lines;
  std::string pill;
  Paint paint = kNote;
  const DrawnChain *leads_to = nullptr;
  int y = 0, height = 0;  // y from the top of the picture
};

struct Box {
  const DrawnChain *chain = nullptr;
  size_t depth = 0;
  int y = 0, height = 0;
  std::vector<Row> rows;
  std::string policy;

  int headerMiddle() const { return y + kHeader / 2; }
};

// A jump, from the right side of a row to the header of a box one column on.
struct Edge {
  size_t depth;
  int from, to;
};

struct StageBoxes {
  const Stage *stage;
  int heading = 0;  // of the baseline
  std::vector<Box> boxes;
  std::vector<Edge> edges;
  int bottom = 0;
};

int lettersWidth(size_t letters) {
  return static_cast<int>(static_cast<double>(letters) * kLetter + 0.5);
}

size_t lettersOf(const std::string &text) {
  return charactersOf(text).size();
}

int pillWidth(const std::string &pill) {
  return lettersWidth(lettersOf(pill)) + 14;
}

class Picture {
 public:
  Picture(const Run &run, const Origins &origins, const Difference *difference)
      : run_(run), origins_(origins), chains_(run, difference), compared_(difference != nullptr) {}

  std::string draw();

 private:
  // Placing.
  void placeStages();
  void placeChain(StageBoxes &stage, const DrawnChain &chain, size_t depth, int y);
  Row rowOf(const DrawnChain &chain, const DrawnRule &rule) const;
  void measureColumns();
  int rightOf(size_t depth) const { return columns_.at(depth) + widths_.at(depth); }

  // Drawing.
  void heading();
  void pill(int right, int y, const std::string &text, const Paint &paint);
  void text(int x, int y, const std::string &content, const char *style);
  void code(int x, int y, const std::string &content, const char *style);
  void box(const Box &box);
  void row(const Box &box, const Row &row);
  void edges(const StageBoxes &stage);
  void path();
  void spine(int from, int to);
  void station(int x, int y, const std::string &label);
  void decision(int y);
  void arrow(int from_x, int from_y, int to_x, int to_y);
  std::string titleOf(const Row &row) const;

  const Run &run_;
  const Origins &origins_;
  FirewallChains chains_;
  bool compared_;
  std::vector<StageBoxes> stages_;
  std::set<const DrawnChain *> placed_;
  std::map<size_t, int> next_y_;       // by column, where the next box may begin
  std::vector<int> widths_, columns_;  // by column: of its boxes, and where they begin
  int bottom_ = 0;
  std::ostringstream out_;
};

// ---- placing ----

Row Picture::rowOf(const DrawnChain &chain, const DrawnRule &rule) const {
  Row row;
  row.rule = &rule;
  const DrawnChain *target = chains_.target(chain, rule);
  if (target != nullptr) {
    row.paint = kJump;
    bool empty = target->rules.empty();
    row.pill = "→ " + target->name + (empty ? " (empty)" : placed_.count(target) != 0 ? " ↑" : "");
    if (!empty) row.leads_to = target;
  } else {
    row.paint = paintOf(rule.parts.target);
    row.pill = rule.parts.target.empty() ? "count" : rule.parts.target;
    if (!rule.parts.detail.empty()) row.pill += " " + rule.parts.detail;
  }
  std::string shown = rule.parts.match.empty() ? "everything" : rule.parts.match;
  if (rule.kind == Edit::kMoved) shown += " (was " + std::to_string(rule.was) + ")";
  row.pill = wrapped(row.pill, kWidestRule / 2, 1).front();
  size_t room = kWidestRule - lettersOf(row.pill);
  row.lines = wrapped(shown, room, kMostLines);
  row.height = static_cast<int>(row.lines.size()) * kLine + kRowPadding;
  return row;
}

// A chain's box, and to its right those of the chains that it jumps to, each not
// above the jump.
void Picture::placeChain(StageBoxes &stage, const DrawnChain &chain, size_t depth, int y) {
  placed_.insert(&chain);
  Box box;
  box.chain = &chain;
  box.depth = depth;
  box.y = std::max(y, next_y_[depth]);
  int at = box.y + kHeader;
  std::vector<std::pair<const DrawnChain *, int>> jumps;
  for (const DrawnRule &rule : chain.rules) {
    Row row = rowOf(chain, rule);
    row.y = at;
    at += row.height;
    if (row.leads_to != nullptr && placed_.insert(row.leads_to).second) {
      jumps.emplace_back(row.leads_to, row.y + row.height / 2);
    }
    box.rows.push_back(std::move(row));
  }
  if (!chain.policy.empty() || !chain.policy_before.empty()) {
    box.policy = chain.policy.empty() ? "none" : chain.policy;
    at += kLine + kRowPadding;
  } else {
    at += 4;
  }
  box.height = at - box.y;
  next_y_[depth] = at + 18;
  stage.bottom = std::max(stage.bottom, at);
  stage.boxes.push_back(std::move(box));
  for (const auto &[target, row_middle] : jumps) {
    size_t index = stage.boxes.size();
    placeChain(stage, *target, depth + 1, row_middle - kHeader / 2);
    stage.edges.push_back({depth, row_middle, stage.boxes.at(index).headerMiddle()});
  }
}

void Picture::placeStages() {
  int y = 110;
  bool routed = false;
  for (size_t i = 0; i < std::size(kStages); i++) {
    const Stage &stage = kStages[i];
    const DrawnChain *chain = chains_.find(stage.program, stage.table, stage.chain);
    bool plain = chain != nullptr && chain->rules.empty() && chain->policy == "ACCEPT" &&
                 chain->policy_before == "ACCEPT";
    if (chain == nullptr || plain) continue;
    if (i >= kRouted && !routed) y += 64;  // room for the decision
    routed = i >= kRouted;
    StageBoxes placed;
    placed.stage = &stage;
    placed.heading = y + (stage.way == Stage::kFromRouter ? 46 : 0);
    next_y_.clear();
    placeChain(placed, *chain, 0, placed.heading + 10);
    y = placed.bottom + (stage.way == Stage::kAside ? 86 : 60);
    bottom_ = placed.bottom;
    stages_.push_back(std::move(placed));
  }
  bottom_ += 70;
}

void Picture::measureColumns() {
  std::map<size_t, size_t> lanes;  // by the column that the edges leave
  for (const StageBoxes &stage : stages_) {
    for (const Box &box : stage.boxes) {
      if (widths_.size() <= box.depth) widths_.resize(box.depth + 1, 220);
      int &width = widths_[box.depth];
      width = std::max(width, lettersWidth(lettersOf(box.chain->name)) + 140);
      for (const Row &row : box.rows) {
        size_t longest = 0;
        for (const std::string &line : row.lines) longest = std::max(longest, lettersOf(line));
        width = std::max(width, kNumber + lettersWidth(longest) + 16 + pillWidth(row.pill) + 8);
      }
    }
    std::map<size_t, size_t> here;
    for (const Edge &edge : stage.edges)
      lanes[edge.depth] = std::max(lanes[edge.depth], ++here[edge.depth]);
  }
  int x = kFirstColumn;
  for (size_t depth = 0; depth < widths_.size(); depth++) {
    columns_.push_back(x);
    x = rightOf(depth) + 34 + kLane * static_cast<int>(lanes[depth]);
  }
}

// ---- drawing ----

void Picture::text(int x, int y, const std::string &content, const char *style) {
  out_ << "<text x=\"" << x << "\" y=\"" << y << "\" " << style << ">" << xmlText(content)
       << "</text>\n";
}

// In letters of one width, whatever font the viewer has.
void Picture::code(int x, int y, const std::string &content, const char *style) {
  size_t letters = lettersOf(content);
  if (letters == 0) return;
  out_ << "<text x=\"" << x << "\" y=\"" << y << "\" xml:space=\"preserve\" textLength=\""
       << lettersWidth(letters) << "\" lengthAdjust=\"spacingAndGlyphs\" "
       << "font-family=\"'DejaVu Sans Mono',Menlo,Consolas,monospace\" " << style << ">"
       << xmlText(content) << "</text>\n";
}

void Picture::pill(int right, int y, const std::string &content, const Paint &paint) {
  int width = pillWidth(content), x = right - width;
  out_ << "<rect x=\"" << x << "\" y=\"" << y << "\" width=\"" << width
       << "\" height=\"17\" rx=\"8\" fill=\"" << paint.pale << "\"/>\n";
  std::string style = std::string("font-weight=\"600\" fill=\"") + paint.strong + "\"";
  code(x + 7, y + 13, content, style.c_str());
}

std::string Picture::titleOf(const Row &row) const {
  const DrawnRule &rule = *row.rule;
  std::string title = xmlText(rule.text) + "\n\n" + xmlText(ruleInWords(rule.text));
  switch (rule.kind) {
    case Edit::kAdded:
      title += "\nNew.";
      break;
    case Edit::kRemoved:
      return title + "\nNo longer there.";
    case Edit::kMoved:
      title += "\nWas rule " + std::to_string(rule.was) + ".";
      break;
    case Edit::kKept:
      break;
  }
  if (!rule.command || *rule.command >= origins_.size()) return title;
  title += "\n";
  for (const Origin &origin : origins_[*rule.command]) {
    title += origin.role == Origin::kBecause ? "\nbecause of " : "\nfrom ";
    title += xmlText(nameOf(origin) + ": " + valueOf(origin, run_));
  }
  if (origins_[*rule.command].empty()) title += "\nwhatever the settings";
  return title + "\n(command " + std::to_string(*rule.command + 1) + ")";
}

void Picture::row(const Box &box, const Row &row) {
  const DrawnRule &rule = *row.rule;
  const Mark &mark = kMarks[rule.kind];
  int x = columns_[box.depth], width = widths_[box.depth];
  out_ << "<g class=\"rule" << mark.name << "\"";
  if (rule.command) out_ << " data-command=\"" << *rule.command + 1 << "\"";
  out_ << ">\n<title>" << titleOf(row) << "</title>\n";
  out_ << "<rect x=\"" << x + 1 << "\" y=\"" << row.y << "\" width=\"" << width - 2
       << "\" height=\"" << row.height << "\" fill=\"" << mark.background << "\"/>\n";
  int baseline = row.y + kRowPadding / 2 + 12;
  if (rule.kind != Edit::kKept) {
    out_ << "<rect x=\"" << x + 1 << "\" y=\"" << row.y << "\" width=\"4\" height=\"" << row.height
         << "\" fill=\"" << mark.bar << "\"/>\n";
    std::string style = std::string("font-weight=\"700\" fill=\"") + mark.bar + "\"";
    code(x + 7, baseline, mark.sign, style.c_str());
  }
  std::string number = std::to_string(rule.number);
  code(x + kNumber - 9 - lettersWidth(number.size()), baseline, number, "fill=\"#8b949e\"");
  for (const std::string &line : row.lines) {
    bool faint = rule.parts.match.empty() || rule.kind == Edit::kRemoved;
    code(x + kNumber, baseline, line, faint ? "fill=\"#57606a\"" : "fill=\"#1f2328\"");
    baseline += kLine;
  }
  pill(x + width - 8, row.y + (kLine + kRowPadding - 17) / 2, row.pill, row.paint);
  out_ << "</g>\n";
}

void Picture::box(const Box &box) {
  const DrawnChain &chain = *box.chain;
  int x = columns_[box.depth], width = widths_[box.depth];
  out_ << "<g class=\"chain\">\n<rect x=\"" << x << "\" y=\"" << box.y << "\" width=\"" << width
       << "\" height=\"" << box.height << "\" rx=\"5\" fill=\"#ffffff\" stroke=\"" << kFrame
       << "\"/>\n";
  const char *fill = chain.is_new ? "#e3f9e7" : chain.is_gone ? "#ffebe9" : "#eef1f5";
  out_ << "<path d=\"M" << x + 1 << " " << box.y + kHeader << "v-20q0 -5 5 -5h" << width - 12
       << "q5 0 5 5v20z\" fill=\"" << fill << "\"/>\n";
  std::string name = chain.name;
  if (chain.is_new) name += " (new)";
  if (chain.is_gone) name += " (gone)";
  code(x + 10, box.y + 17, name, "font-weight=\"700\" fill=\"#1f2328\"");
  for (const Row &one : box.rows) row(box, one);
  if (!box.policy.empty()) {
    int y = box.y + box.height - kLine - kRowPadding;
    std::string label = "everything else";
    if (chain.policy != chain.policy_before && compared_ && !chain.is_new) {
      label += " (was " + (chain.policy_before.empty() ? "none" : chain.policy_before) + ")";
    }
    out_ << "<path d=\"M" << x << " " << y << "h" << width << "\" stroke=\"" << kFrame << "\"/>\n";
    text(x + 10, y + 15, label, "font-style=\"italic\" fill=\"#57606a\"");
    pill(x + width - 8, y + 3, box.policy, paintOf(box.policy));
  }
  out_ << "</g>\n";
}

// Later jumps run nearer to where they come from, so that none crosses another.
void Picture::edges(const StageBoxes &stage) {
  std::map<size_t, int> lane;
  for (const Edge &edge : stage.edges) {
    int from = rightOf(edge.depth), to = columns_[edge.depth + 1];
    int x = to - 20 - kLane * lane[edge.depth]++;
    out_ << "<path d=\"M" << from << " " << edge.from << "H" << x - 5 << "Q" << x << " "
         << edge.from << " " << x << " " << edge.from + std::min(5, edge.to - edge.from) << "V"
         << edge.to - std::min(5, edge.to - edge.from) << "Q" << x << " " << edge.to << " " << x + 5
         << " " << edge.to << "H" << to - 7 << "\" fill=\"none\" stroke=\"" << kJump.strong
         << "\" stroke-width=\"1.3\"/>\n<path d=\"M" << to << " " << edge.to
         << "l-8 -4v8z\" fill=\"" << kJump.strong << "\"/>\n";
  }
}

void Picture::arrow(int from_x, int from_y, int to_x, int to_y) {
  bool down = to_y > from_y;
  out_ << "<path d=\"M" << from_x << " " << from_y << "L" << to_x << " " << to_y << "\" stroke=\""
       << kPath << "\" stroke-width=\"2.5\" fill=\"none\"/>\n<path d=\"M" << to_x << " " << to_y
       << (down            ? "l-5 -8h10z"
           : to_x > from_x ? "l-8 -5v10z"
                           : "l8 -5v10z")
       << "\" fill=\"" << kPath << "\"/>\n";
}

void Picture::spine(int from, int to) {
  out_ << "<path d=\"M" << kSpine << " " << from << "V" << to << "\" stroke=\"" << kPath
       << "\" stroke-width=\"2.5\"/>\n";
}

void Picture::station(int x, int y, const std::string &label) {
  out_ << "<circle cx=\"" << x << "\" cy=\"" << y << "\" r=\"7\" fill=\"#ffffff\" stroke=\""
       << kPath << "\" stroke-width=\"2.5\"/>\n";
  text(x + 14, y + 4, label, "font-weight=\"600\" fill=\"#1f2328\"");
}

void Picture::decision(int y) {
  out_ << "<path d=\"M" << kSpine << " " << y - 12
       << "l14 12l-14 12l-14 -12z\" fill=\"#fff8d6\" stroke=\"" << kPath
       << "\" stroke-width=\"2\"/>\n";
  text(kSpine + 22, y + 4, "where does its route lead?", "font-weight=\"600\" fill=\"#1f2328\"");
}

// How packets go down on the left, through the boxes and past them.
void Picture::path() {
  int y = 78;  // so far
  bool routed = false;
  station(kSpine, y, "a packet comes in");
  y += 7;
  for (const StageBoxes &stage : stages_) {
    const Box &first = stage.boxes.front();
    int in = first.headerMiddle(), bottom = first.y + first.height, out = bottom + 14;
    if (!routed && stage.stage >= kStages + kRouted) {
      int middle = stage.heading - 52;
      spine(y, middle - 12);
      decision(middle);
      y = middle + 12;
      routed = true;
    }
    if (stage.stage->way == Stage::kFromRouter) {
      station(kOutlet, stage.heading - 34, stage.stage->end);
      arrow(kOutlet, stage.heading - 27, kOutlet, first.y);
    } else {
      spine(y, in);
      arrow(kSpine, in, kFirstColumn, in);
    }
    if (stage.stage->way == Stage::kAside) {
      arrow(kOutlet, bottom, kOutlet, bottom + 24);
      station(kOutlet, bottom + 32, stage.stage->end);
      y = in;
      continue;
    }
    if (stage.stage->way == Stage::kFromRouter) spine(y, out);
    out_ << "<path d=\"M" << kOutlet << " " << bottom << "V" << out << "\" stroke=\"" << kPath
         << "\" stroke-width=\"2.5\"/>\n";
    arrow(kOutlet + 1, out, kSpine + 2, out);
    text(kOutlet + 10, out + 4, "accepted", "fill=\"#57606a\"");
    y = out;
  }
  arrow(kSpine, y, kSpine, bottom_ - 34);
  station(kSpine, bottom_ - 26, "it goes out");
}

void Picture::heading() {
  text(20, 30, run_.entry, "font-size=\"18\" font-weight=\"700\" fill=\"#1f2328\"");
  text(
      20, 50,
      "Where a packet goes, rule by rule. Over a rule: what it does and which settings it comes from.",
      "fill=\"#57606a\"");
  struct Key {
    const char *label;
    Paint paint;
  };
  constexpr Key keys[] = {{"accepts", kAccept},       {"drops", kDrop},
                          {"goes back", kReturn},     {"to a chain", kJump},
                          {"translates", kTranslate}, {"notes, changes", kNote}};
  int x = kFirstColumn + 640;
  for (const Key &key : keys) {
    x += pillWidth(key.label) + 8;
    pill(x, 20, key.label, key.paint);
  }
  if (!compared_) return;
  x = kFirstColumn + 648;
  for (Edit::Kind kind : {Edit::kAdded, Edit::kRemoved, Edit::kMoved}) {
    const Mark &mark = kMarks[kind];
    out_ << "<rect x=\"" << x << "\" y=\"44\" width=\"4\" height=\"16\" fill=\"" << mark.bar
         << "\"/>\n"
         << "<rect x=\"" << x + 4 << "\" y=\"44\" width=\"86\" height=\"16\" fill=\""
         << mark.background << "\"/>\n";
    code(x + 10, 56, std::string(mark.sign) + mark.name, "fill=\"#1f2328\"");
    x += 100;
  }
}

std::string Picture::draw() {
  placeStages();
  measureColumns();
  int width = kFirstColumn + 1240;
  if (!widths_.empty()) width = std::max(width, rightOf(widths_.size() - 1) + 30);
  out_ << "<svg xmlns=\"http://www.w3.org/2000/svg\" class=\"firewall\" width=\"" << width
       << "\" height=\"" << bottom_ << "\" viewBox=\"0 0 " << width << " " << bottom_
       << "\" font-family=\"'DejaVu Sans',system-ui,sans-serif\" font-size=\"" << kFont << "\">\n"
       << "<rect width=\"100%\" height=\"100%\" fill=\"#fbfcfd\"/>\n";
  heading();
  path();
  for (const StageBoxes &stage : stages_) {
    std::string name = std::string(stage.stage->program) + " " + stage.stage->table;
    out_ << "<text x=\"" << kFirstColumn << "\" y=\"" << stage.heading
         << "\" fill=\"#1f2328\"><tspan font-weight=\"700\" font-size=\"14\">" << name
         << "</tspan><tspan dx=\"12\" fill=\"#57606a\">" << stage.stage->meaning
         << "</tspan></text>\n";
    edges(stage);
    for (const Box &one : stage.boxes) box(one);
  }
  out_ << "</svg>\n";
  return out_.str();
}

}  // namespace

std::string firewallPicture(const Run &run, const Origins &origins, const Difference *difference) {
  return Picture(run, origins, difference).draw();
}

}  // namespace orba::tool
