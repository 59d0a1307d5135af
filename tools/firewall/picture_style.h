// How the firewall's picture looks, by day and by night.
#ifndef ORBA_TOOLS_FIREWALL_PICTURE_STYLE_H
#define ORBA_TOOLS_FIREWALL_PICTURE_STYLE_H

namespace orba::tool {

// Every picture carries it; a page that may hold no style of its own links it. No selector but
// for the classes of the picture, and no variables: not every viewer of pictures knows them.
inline constexpr char kPictureStyle[] = R"(
.firewall { color-scheme: light dark; font: 12px 'DejaVu Sans', system-ui, sans-serif; }
.firewall text, .firewall .fold { fill: #1f2328; color: #1f2328; }
.firewall .code, .firewall .fold { font-family: 'DejaVu Sans Mono', Menlo, Consolas, monospace; }
.firewall .title { font-size: 18px; font-weight: 700; }
.firewall .table { font-size: 14px; font-weight: 700; }
.firewall .strong { font-weight: 600; }
.firewall .soft { fill: #57606a; }
.firewall .number { fill: #8b949e; }
.firewall .rest { font-style: italic; }
.firewall .ground { fill: #fbfcfd; }
.firewall .box { fill: #ffffff; stroke: #b4bcc5; }
.firewall .header { fill: #eef1f5; }
.firewall .line { fill: none; stroke: #b4bcc5; }
.firewall .path { fill: none; stroke: #57606a; stroke-width: 2.5; }
.firewall .head { fill: #57606a; }
.firewall .station { fill: #ffffff; stroke: #57606a; stroke-width: 2.5; }
.firewall .decision { fill: #fff8d6; stroke: #57606a; stroke-width: 2; }
.firewall .jump-line { fill: none; stroke: #0550ae; stroke-width: 1.3; }
.firewall .jump-head { fill: #0550ae; }
.firewall .row { fill: #ffffff; }
.firewall .added .row, .firewall .is-new .header { fill: #e3f9e7; }
.firewall .removed .row, .firewall .is-gone .header { fill: #ffebe9; }
.firewall .moved .row { fill: #fff8d6; }
.firewall .added .sign { fill: #1a7f37; font-weight: 700; }
.firewall .removed .sign { fill: #cf222e; font-weight: 700; }
.firewall .moved .sign { fill: #bf8700; font-weight: 700; }
.firewall .pill text { font-weight: 600; }
.firewall .accept rect { fill: #d3f5da; } .firewall .accept text { fill: #116329; }
.firewall .drop rect { fill: #ffdcdc; } .firewall .drop text { fill: #a40e26; }
.firewall .return rect { fill: #e7eaee; } .firewall .return text { fill: #57606a; }
.firewall .jump rect { fill: #dbeaff; } .firewall .jump text { fill: #0550ae; }
.firewall .translate rect { fill: #ece3ff; } .firewall .translate text { fill: #6639ba; }
.firewall .note rect { fill: #fff0c2; } .firewall .note text { fill: #7d4e00; }
.firewall .more rect { fill: #eef1f5; } .firewall .more text { fill: #0550ae; }
.firewall foreignObject { pointer-events: none; }
.firewall .fold { pointer-events: auto; line-height: 16px; }
.firewall .fold summary { height: 22px; padding: 3px 8px 0 32px; background: #eef1f5; color: #0550ae; cursor: pointer; white-space: nowrap; }
.firewall .fold ol { max-height: 340px; margin: 0; padding: 4px 8px 4px 48px; overflow: auto; background: #ffffff; border: 1px solid #0550ae; }
.firewall .fold li { white-space: pre-wrap; overflow-wrap: anywhere; }
.firewall .fold .accept { color: #116329; } .firewall .fold .drop { color: #a40e26; }
.firewall .fold .translate { color: #6639ba; } .firewall .fold .note { color: #7d4e00; }
@media (prefers-color-scheme: dark) {
.firewall text, .firewall .fold { fill: #e4e9ee; color: #e4e9ee; }
.firewall .soft { fill: #9aa7b4; }
.firewall .number { fill: #8391a0; }
.firewall .ground { fill: #161c23; }
.firewall .box { fill: #1b222a; stroke: #46525f; }
.firewall .header { fill: #27303a; }
.firewall .line { stroke: #46525f; }
.firewall .path { stroke: #8b98a5; }
.firewall .head { fill: #8b98a5; }
.firewall .station { fill: #1b222a; stroke: #8b98a5; }
.firewall .decision { fill: #35301c; stroke: #8b98a5; }
.firewall .jump-line { stroke: #6cb2f0; }
.firewall .jump-head { fill: #6cb2f0; }
.firewall .row { fill: #1b222a; }
.firewall .added .row, .firewall .is-new .header { fill: #17351f; }
.firewall .removed .row, .firewall .is-gone .header { fill: #42201d; }
.firewall .moved .row { fill: #35301c; }
.firewall .added .sign { fill: #6fd08c; }
.firewall .removed .sign { fill: #ff9a91; }
.firewall .moved .sign { fill: #d9a531; }
.firewall .accept rect { fill: #17351f; } .firewall .accept text { fill: #7fdc9b; }
.firewall .drop rect { fill: #4a2120; } .firewall .drop text { fill: #ffa9a1; }
.firewall .return rect { fill: #313b46; } .firewall .return text { fill: #b4c0cc; }
.firewall .jump rect { fill: #1c3450; } .firewall .jump text { fill: #8cc4f7; }
.firewall .translate rect { fill: #352a52; } .firewall .translate text { fill: #c9b3ff; }
.firewall .note rect { fill: #40361a; } .firewall .note text { fill: #f0cb6b; }
.firewall .more rect { fill: #27303a; } .firewall .more text { fill: #8cc4f7; }
.firewall .fold summary { background: #27303a; color: #8cc4f7; }
.firewall .fold ol { background: #1b222a; border-color: #6cb2f0; }
.firewall .fold .accept { color: #7fdc9b; } .firewall .fold .drop { color: #ffa9a1; }
.firewall .fold .translate { color: #c9b3ff; } .firewall .fold .note { color: #f0cb6b; }
}
)";

}  // namespace orba::tool

#endif
