#include "tools/firewall/picture.h"

#include <map>
#include <sstream>

#include "tools/firewall/layout.h"
#include "tools/firewall/picture_style.h"
#include "tools/firewall/rule_told.h"
#include "tools/text/svg.h"

namespace orba::tool {

namespace {

constexpr int kSpine = 40;    // where packets go down
constexpr int kOutlet = 124;  // where they leave a box

// The class that a target is painted by.
const char *classOf(const std::string &target) {
  static const std::map<std::string, const char *> classes = {
      {"ACCEPT", "accept"},  {"CONTINUE", "accept"},     {"DROP", "drop"},
      {"REJECT", "drop"},    {"RETURN", "return"},       {"DNAT", "translate"},
      {"SNAT", "translate"}, {"MASQUERADE", "translate"}};
  auto found = classes.find(target);
  return found != classes.end() ? found->second : "note";
}

// How a rule that is not as before is marked: by its class, and for who sees no colours.
constexpr struct {
  const char *sign, *name;
} kMarks[] = {{"", ""}, {"+", " added"}, {"−", " removed"}, {"~", " moved"}};

class Picture {
 public:
  Picture(const MadeFirewall &made, const Difference *difference)
      : made_(made),
        chains_(made.run(), difference),
        layout_(chains_),
        compared_(difference != nullptr) {}

  std::string draw();

 private:
  void heading();
  void box(const Box &box);
  void rule(const Box &box, const Row &row);
  void fold(const Box &box, const Row &row);
  void edges(const StageBoxes &stage);
  void path();

  void text(int x, int y, const std::string &content, const char *classes);
  void code(int x, int y, const std::string &content, const char *classes);
  void pill(int right, int y, const std::string &content, const char *classes);
  void rect(int x, int y, int width, int height, const char *classes);
  void spine(int from, int to);
  void station(int x, int y, const std::string &label);
  void decision(int y);
  void arrow(int from_x, int from_y, int to_x, int to_y);
  // What is told of a rule, as XML.
  std::string titleOf(const DrawnRule &rule, const char *end_of_line) const;
  // What a rule is known by to whoever follows a packet through the picture.
  std::string madeBy(const DrawnRule &rule) const;

  const MadeFirewall &made_;
  FirewallChains chains_;
  FirewallLayout layout_;
  bool compared_;
  std::ostringstream out_;
  std::ostringstream folds_;  // which lie over everything else
};

void Picture::text(int x, int y, const std::string &content, const char *classes) {
  out_ << "<text x=\"" << x << "\" y=\"" << y << "\"";
  if (*classes != '\0') out_ << " class=\"" << classes << "\"";
  out_ << ">" << xmlText(content) << "</text>\n";
}

// In letters of one width, whatever font the viewer has.
void Picture::code(int x, int y, const std::string &content, const char *classes) {
  size_t letters = lettersOf(content);
  if (letters == 0) return;
  out_ << "<text x=\"" << x << "\" y=\"" << y << "\" textLength=\"" << lettersWidth(letters)
       << "\" lengthAdjust=\"spacingAndGlyphs\" class=\"code" << classes << "\">"
       << xmlText(content) << "</text>\n";
}

void Picture::rect(int x, int y, int width, int height, const char *classes) {
  out_ << "<rect x=\"" << x << "\" y=\"" << y << "\" width=\"" << width << "\" height=\"" << height
       << "\" class=\"" << classes << "\"/>\n";
}

void Picture::pill(int right, int y, const std::string &content, const char *classes) {
  int width = pillWidth(content), x = right - width;
  out_ << "<g class=\"pill " << classes << "\"><rect x=\"" << x << "\" y=\"" << y << "\" width=\""
       << width << "\" height=\"17\" rx=\"8\"/>";
  code(x + 7, y + 13, content, "");
  out_ << "</g>\n";
}

std::string Picture::titleOf(const DrawnRule &rule, const char *end_of_line) const {
  std::string title;
  for (const std::string &line : RuleTold(rule, made_).lines()) {
    title += (title.empty() ? "" : end_of_line) + xmlText(line);
  }
  return title;
}

std::string Picture::madeBy(const DrawnRule &rule) const {
  if (!rule.command) return "";
  const MadeFirewall::MadeBy made = made_.madeBy(*rule.command);
  return " data-made-by=\"" + made.entry + " " + std::to_string(made.number) + " " +
         std::to_string(made.part) + "\"";
}

void Picture::rule(const Box &box, const Row &row) {
  const DrawnRule &rule = *row.rule;
  int x = layout_.left(box.depth), width = layout_.width(box.depth);
  out_ << "<g class=\"rule" << kMarks[rule.kind].name << "\"" << madeBy(rule) << ">\n<title>"
       << titleOf(rule, "\n") << "</title>\n";
  rect(x + 1, row.y, width - 2, row.height, "row");
  int baseline = row.y + kRowPadding / 2 + 12;
  if (rule.kind != Edit::kKept) {
    rect(x + 1, row.y, 4, row.height, "sign");
    code(x + 7, baseline, kMarks[rule.kind].sign, " sign");
  }
  std::string number = std::to_string(rule.number);
  code(x + kNumber - 9 - lettersWidth(number.size()), baseline, number, " number");
  for (const std::string &line : row.lines) {
    bool faint = rule.parts.match.empty() || rule.kind == Edit::kRemoved;
    code(x + kNumber, baseline, line, faint ? " soft" : "");
    baseline += kLine;
  }
  pill(x + width - 8, row.y + (kLine + kRowPadding - 17) / 2, row.pill,
       row.jump ? "jump" : classOf(rule.parts.target));
  out_ << "</g>\n";
}

// The row, and over it a list that opens: HTML, which browsers show in pictures too, and others
// leave out.
void Picture::fold(const Box &box, const Row &row) {
  int x = layout_.left(box.depth), width = layout_.width(box.depth);
  out_ << "<g class=\"more\">\n";
  rect(x + 1, row.y, width - 2, row.height, "row");
  code(x + kNumber, row.y + kRowPadding / 2 + 12, row.lines.front(), "");
  out_ << "</g>\n";
  const std::vector<DrawnRule> &rules = box.chain->rules;
  folds_ << "<foreignObject x=\"" << x + 1 << "\" y=\"" << row.y << "\" width=\"" << width - 2
         << "\" height=\"" << kOpenFold << "\"><details class=\"fold\" xmlns=\""
         << "http://www.w3.org/1999/xhtml\"><summary>" << xmlText(row.lines.front())
         << "</summary><ol start=\"" << rules[row.fold.first].number << "\">\n";
  for (size_t i = row.fold.first; i < row.fold.end; i++) {
    const DrawnRule &rule = rules[i];
    const std::string target = rule.parts.target.empty() ? "count" : rule.parts.target;
    folds_ << "<li class=\"rule" << kMarks[rule.kind].name << "\"" << madeBy(rule) << " title=\""
           << titleOf(rule, "&#10;") << "\">" << xmlText(rule.parts.match) << " <b class=\""
           << classOf(rule.parts.target) << "\">" << xmlText(target) << "</b></li>\n";
  }
  folds_ << "</ol></details></foreignObject>\n";
}

void Picture::box(const Box &box) {
  const DrawnChain &chain = *box.chain;
  int x = layout_.left(box.depth), width = layout_.width(box.depth);
  out_ << "<g class=\"chain"
       << (chain.is_new    ? " is-new"
           : chain.is_gone ? " is-gone"
                           : "")
       << "\" data-chain=\"" << xmlText(chain.path()) << "\">\n<rect x=\"" << x << "\" y=\""
       << box.y << "\" width=\"" << width << "\" height=\"" << box.height
       << "\" rx=\"5\" class=\"box\"/>\n";
  out_ << "<path d=\"M" << x + 1 << " " << box.y + kHeader << "v-20q0 -5 5 -5h" << width - 12
       << "q5 0 5 5v20z\" class=\"header\"/>\n";
  std::string name = chain.name;
  if (chain.is_new) name += " (new)";
  if (chain.is_gone) name += " (gone)";
  code(x + 10, box.y + 17, name, " strong");
  for (const Row &row : box.rows) row.rule != nullptr ? rule(box, row) : fold(box, row);
  if (!box.policy.empty()) {
    int y = box.y + box.height - kLine - kRowPadding;
    std::string label = "everything else";
    if (chain.policy != chain.policy_before && compared_ && !chain.is_new) {
      label += " (was " + (chain.policy_before.empty() ? "none" : chain.policy_before) + ")";
    }
    out_ << "<g class=\"policy\"><path d=\"M" << x << " " << y << "h" << width
         << "\" class=\"line\"/>\n";
    text(x + 10, y + 15, label, "rest soft");
    pill(x + width - 8, y + 3, box.policy, classOf(box.policy));
    out_ << "</g>\n";
  }
  out_ << "</g>\n";
}

// Later jumps run nearer to where they come from, so that none crosses another.
void Picture::edges(const StageBoxes &stage) {
  std::map<size_t, int> lane;
  for (const Edge &edge : stage.edges) {
    int from = layout_.right(edge.depth), to = layout_.left(edge.depth + 1);
    int x = to - 20 - kLane * lane[edge.depth]++;
    out_ << "<g class=\"edge\" data-chain=\"" << xmlText(edge.chain->path()) << "\"><path d=\"M"
         << from << " " << edge.from << "H" << x - 5 << "Q" << x << " " << edge.from << " " << x
         << " " << edge.from + std::min(5, edge.to - edge.from) << "V"
         << edge.to - std::min(5, edge.to - edge.from) << "Q" << x << " " << edge.to << " " << x + 5
         << " " << edge.to << "H" << to - 7 << "\" class=\"jump-line\"/><path d=\"M" << to << " "
         << edge.to << "l-8 -4v8z\" class=\"jump-head\"/></g>\n";
  }
}

void Picture::arrow(int from_x, int from_y, int to_x, int to_y) {
  bool down = to_y > from_y;
  out_ << "<path d=\"M" << from_x << " " << from_y << "L" << to_x << " " << to_y
       << "\" class=\"path\"/>\n<path d=\"M" << to_x << " " << to_y
       << (down            ? "l-5 -8h10z"
           : to_x > from_x ? "l-8 -5v10z"
                           : "l8 -5v10z")
       << "\" class=\"head\"/>\n";
}

void Picture::spine(int from, int to) {
  out_ << "<path d=\"M" << kSpine << " " << from << "V" << to << "\" class=\"path\"/>\n";
}

void Picture::station(int x, int y, const std::string &label) {
  out_ << "<circle cx=\"" << x << "\" cy=\"" << y << "\" r=\"7\" class=\"station\"/>\n";
  text(x + 14, y + 4, label, "strong");
}

void Picture::decision(int y) {
  out_ << "<path d=\"M" << kSpine << " " << y - 12
       << "l14 12l-14 12l-14 -12z\" class=\"decision\"/>\n";
  text(kSpine + 22, y + 4, "where does its route lead?", "strong");
}

// How packets go down on the left, through the boxes and past them.
void Picture::path() {
  int y = kComesIn;  // so far
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
    out_ << "<path d=\"M" << kOutlet << " " << bottom << "V" << out << "\" class=\"path\"/>\n";
    arrow(kOutlet + 1, out, kSpine + 2, out);
    text(kOutlet + 10, out + 4, "accepted", "soft");
    y = out;
  }
  arrow(kSpine, y, kSpine, layout_.end() - 34);
  station(kSpine, layout_.end() - 26, "it goes out");
}

// The legend stands at the left, where a narrow window shows it.
void Picture::heading() {
  text(20, 30, made_.name(), "title");
  text(
      20, 50,
      "Where a packet goes, rule by rule. Over a rule: what it does and which settings it comes from.",
      "soft");
  constexpr const char *keys[][2] = {{"accepts", "accept"},       {"drops", "drop"},
                                     {"goes back", "return"},     {"to a chain", "jump"},
                                     {"translates", "translate"}, {"notes, changes", "note"}};
  int x = 12;
  for (const auto &[label, classes] : keys) {
    x += pillWidth(label) + 8;
    pill(x, 62, label, classes);
  }
  if (!compared_) return;
  for (Edit::Kind kind : {Edit::kAdded, Edit::kRemoved, Edit::kMoved}) {
    out_ << "<g class=\"rule-key" << kMarks[kind].name << "\">";
    x += 20;
    rect(x, 62, 4, 16, "sign");
    rect(x + 4, 62, 86, 16, "row");
    code(x + 10, 74, std::string(kMarks[kind].sign) + kMarks[kind].name, "");
    out_ << "</g>\n";
    x += 86;
  }
}

std::string Picture::draw() {
  int width = layout_.width(), height = layout_.height();
  out_ << "<svg xmlns=\"http://www.w3.org/2000/svg\" class=\"firewall\" width=\"" << width
       << "\" height=\"" << height << "\" viewBox=\"0 0 " << width << " " << height
       << "\" xml:space=\"preserve\">\n<style>" << kPictureStyle << "</style>\n"
       << "<rect width=\"100%\" height=\"100%\" class=\"ground\"/>\n";
  heading();
  path();
  for (const StageBoxes &stage : layout_.stages()) {
    out_ << "<text x=\"" << kFirstColumn << "\" y=\"" << stage.heading
         << "\"><tspan class=\"table\">" << stage.stage->program << " " << stage.stage->table
         << "</tspan><tspan dx=\"12\" class=\"soft\">" << stage.stage->meaning
         << "</tspan></text>\n";
    edges(stage);
    for (const Box &one : stage.boxes) box(one);
  }
  out_ << folds_.str() << "</svg>\n";
  return out_.str();
}

}  // namespace

std::string firewallPicture(const MadeFirewall &made, const Difference *difference) {
  return Picture(made, difference).draw();
}

std::string firewallPicture(const Recording &run, const Origins &origins,
                            const Difference *difference) {
  return firewallPicture(MadeFirewall(run, origins), difference);
}

}  // namespace orba::tool
