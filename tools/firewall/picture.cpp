#include "tools/firewall/picture.h"

#include <map>
#include <sstream>

#include "tools/firewall/layout.h"
#include "tools/text/svg.h"

namespace orba::tool {

namespace {

constexpr int kFont = 12;
constexpr int kSpine = 40;    // where packets go down
constexpr int kOutlet = 124;  // where they leave a box

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

// Of a value in a title, in bytes.
constexpr size_t kLongestValue = 200;

class Picture {
 public:
  Picture(const Recording &run, const Origins &origins, const Difference *difference)
      : run_(run),
        origins_(origins),
        chains_(run, difference),
        layout_(chains_),
        compared_(difference != nullptr) {}

  std::string draw();

 private:
  void heading();
  void box(const Box &box);
  void row(const Box &box, const Row &row);
  std::string titleOf(const Row &row) const;
  void edges(const StageBoxes &stage);
  void path();

  void text(int x, int y, const std::string &content, const char *style);
  void code(int x, int y, const std::string &content, const char *style);
  void pill(int right, int y, const std::string &content, const Paint &paint);
  void spine(int from, int to);
  void station(int x, int y, const std::string &label);
  void decision(int y);
  void arrow(int from_x, int from_y, int to_x, int to_y);

  const Recording &run_;
  const Origins &origins_;
  FirewallChains chains_;
  FirewallLayout layout_;
  bool compared_;
  std::ostringstream out_;
};

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
  if (!rule.command || rule.command->line >= origins_.size()) return title;
  const CommandOrigins &origins = origins_[rule.command->line].at(rule.command->part);
  title += "\n";
  for (const Origin &origin : origins) {
    title += origin.role == Origin::kBecause ? "\nbecause of " : "\nfrom ";
    // A list of thousands of records may stand in the title of each of its rules.
    std::string value = valueOf(origin, run_);
    if (value.size() > kLongestValue) value.replace(kLongestValue, std::string::npos, "…");
    title += xmlText(nameOf(origin) + ": " + value);
  }
  if (origins.empty()) title += "\nwhatever the settings";
  return title + "\n(command " + std::to_string(rule.command->line + 1) + ")";
}

void Picture::row(const Box &box, const Row &row) {
  const DrawnRule &rule = *row.rule;
  const Mark &mark = kMarks[rule.kind];
  int x = layout_.left(box.depth), width = layout_.width(box.depth);
  out_ << "<g class=\"rule" << mark.name << "\"";
  if (rule.command) out_ << " data-command=\"" << rule.command->line + 1 << "\"";
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
  pill(x + width - 8, row.y + (kLine + kRowPadding - 17) / 2, row.pill,
       row.jump ? kJump : paintOf(rule.parts.target));
  out_ << "</g>\n";
}

void Picture::box(const Box &box) {
  const DrawnChain &chain = *box.chain;
  int x = layout_.left(box.depth), width = layout_.width(box.depth);
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
    int from = layout_.right(edge.depth), to = layout_.left(edge.depth + 1);
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
  for (const StageBoxes &stage : layout_.stages()) {
    const Box &first = stage.boxes.front();
    int in = first.headerMiddle(), bottom = first.y + first.height, out = bottom + 14;
    if (!routed && stage.stage->routed) {
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
  arrow(kSpine, y, kSpine, layout_.height() - 34);
  station(kSpine, layout_.height() - 26, "it goes out");
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
  int width = layout_.width(), height = layout_.height();
  out_ << "<svg xmlns=\"http://www.w3.org/2000/svg\" class=\"firewall\" width=\"" << width
       << "\" height=\"" << height << "\" viewBox=\"0 0 " << width << " " << height
       << "\" font-family=\"'DejaVu Sans',system-ui,sans-serif\" font-size=\"" << kFont << "\">\n"
       << "<rect width=\"100%\" height=\"100%\" fill=\"#fbfcfd\"/>\n";
  heading();
  path();
  for (const StageBoxes &stage : layout_.stages()) {
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

std::string firewallPicture(const Recording &run, const Origins &origins,
                            const Difference *difference) {
  return Picture(run, origins, difference).draw();
}

}  // namespace orba::tool
