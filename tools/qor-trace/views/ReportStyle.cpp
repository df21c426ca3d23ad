#include "views/ReportStyle.h"

namespace client {

// Colours differ in brightness as well as in hue, and what they mean is also said by place, shape or words.
const char* const kReportStyle = R"css(
:root{color-scheme:light dark;--bg:#fff;--card:#f6f8fa;--text:#1b1f24;--muted:#57606a;--line:#d0d7de;--grid:#e3e7ec;
--mean:#4a94c9;--edge:#0b5c94;--bad:#c2410c;--lost:#86198f;--gap:#6b7280;--event:#0f766e;--good:#0f766e;--link:#0b5c94}
@media (prefers-color-scheme:dark){:root{--bg:#0f1419;--card:#182029;--text:#e6edf3;--muted:#9aa7b4;--line:#33404d;
--grid:#25303b;--mean:#2b6c9c;--edge:#8cc8f2;--bad:#ff8a5b;--lost:#e08ae8;--gap:#98a2ae;--event:#4fd1b5;--good:#4fd1b5;
--link:#8cc8f2}}
*{box-sizing:border-box}
html{-webkit-text-size-adjust:100%}
body{margin:0;background:var(--bg);color:var(--text);font:15px/1.5 system-ui,-apple-system,"Segoe UI",Roboto,sans-serif}
main,header{max-width:1180px;margin:0 auto;padding:0 24px}
header{padding-top:28px}
h1{font-size:1.75rem;line-height:1.2;margin:0 0 4px;overflow-wrap:anywhere}
h2{font-size:1.2rem;margin:40px 0 10px;padding-bottom:6px;border-bottom:1px solid var(--line)}
h3{font-size:1rem;margin:22px 0 6px}
p{margin:6px 0}
a{color:var(--link)}
.muted{color:var(--muted)}
nav{margin:14px 0 0;display:flex;flex-wrap:wrap;gap:2px 18px}
.tiles{display:grid;grid-template-columns:repeat(auto-fit,minmax(165px,1fr));gap:12px;margin:20px 0 0;padding:0;list-style:none}
.tiles li{background:var(--card);border:1px solid var(--line);border-radius:8px;padding:10px 14px}
.tiles b{display:block;white-space:nowrap;font-size:1.35rem;line-height:1.3;font-variant-numeric:tabular-nums}
.tiles span{color:var(--muted)}
.tiles .bad{border-left:4px solid var(--bad)}
.tiles .lost{border-left:4px solid var(--lost)}
.standout{margin:0;padding-left:1.2em}
.standout li{margin:3px 0}
.standout .good{list-style:"\2713  "}
.standout .bad::marker{content:"\25B2  ";color:var(--bad)}
.standout .lost::marker{content:"\25A0  ";color:var(--lost)}
dl{display:grid;grid-template-columns:max-content 1fr;gap:4px 20px;margin:0}
dt{color:var(--muted)}
dd{margin:0;overflow-wrap:anywhere}
.scroll{overflow-x:auto}
table{border-collapse:collapse;font-size:.9rem;font-variant-numeric:tabular-nums}
th,td{padding:5px 10px;text-align:left;vertical-align:top;border-bottom:1px solid var(--grid)}
th{color:var(--muted);font-weight:600;vertical-align:bottom;border-bottom:1px solid var(--line)}
table.wide{width:100%}
td.w{overflow-wrap:anywhere;min-width:9em}
td.t{white-space:nowrap}
.n{text-align:right;white-space:nowrap}
.messages td{vertical-align:middle}
.messages ul{margin:4px 0;padding-left:1.2em}
.id{font-family:ui-monospace,Menlo,Consolas,monospace;white-space:nowrap}
th button{all:unset;cursor:pointer;color:inherit}
th button:hover{text-decoration:underline}
th button:focus-visible{outline:2px solid var(--link)}
th[aria-sort] button::after{content:" \25BE"}
th[aria-sort=ascending] button::after{content:" \25B4"}
details summary{cursor:pointer}
.names{font-size:.85rem;overflow-wrap:anywhere}
figure{margin:18px 0 0;break-inside:avoid}
figcaption{margin-bottom:6px;overflow-wrap:anywhere}
.row{display:grid;grid-template-columns:5.2em minmax(0,1fr);gap:0 8px}
.y{display:flex;flex-direction:column;justify-content:space-between;text-align:right;color:var(--muted);font-size:.78rem;
line-height:1;white-space:nowrap;font-variant-numeric:tabular-nums}
.row svg{display:block;width:100%;overflow:visible}
svg.load{height:110px;border-bottom:1px solid var(--muted)}
.row{margin-bottom:4px}
.lanes{margin-bottom:11px}
.lanes svg.load{height:76px}
svg.strip{height:14px;border-bottom:1px solid var(--line)}
.row .y.s{justify-content:center;height:14px}
svg path{vector-effect:non-scaling-stroke}
.grid{stroke:var(--grid);stroke-width:1;fill:none}
.mean{fill:var(--mean)}
.peak{fill:none;stroke:var(--edge);stroke-width:1}
.base{stroke:var(--line);fill:none}
.bad path,path.bad,.out{fill:var(--bad)}
rect.lost{fill:var(--lost)}
rect.gap{fill:none;stroke:var(--gap);stroke-width:1.5;vector-effect:non-scaling-stroke}
path.event{fill:var(--event)}
.x{position:relative;height:1.5em;font-size:.78rem;color:var(--muted);font-variant-numeric:tabular-nums}
.x span{position:absolute;transform:translateX(-50%);white-space:nowrap}
.x .l{transform:none}
.x .r{transform:translateX(-100%)}
.legend{display:flex;flex-wrap:wrap;gap:4px 22px;margin:8px 0;padding:0;list-style:none;color:var(--muted);font-size:.9rem}
.legend svg{width:22px;height:12px;vertical-align:-1px;margin-right:7px}
svg.times{width:192px;height:44px;display:block}
svg.times text{font:9px system-ui,sans-serif;fill:var(--muted)}
footer{max-width:1180px;margin:44px auto 0;padding:14px 24px 40px;color:var(--muted);font-size:.85rem}
@media (max-width:640px){.tiles{grid-template-columns:repeat(auto-fit,minmax(128px,1fr));gap:8px}.tiles b{font-size:1.15rem}
main,header,footer{padding-left:14px;padding-right:14px}body{font-size:14px}
dl{grid-template-columns:1fr;gap:0}dd{margin-bottom:8px}.row{grid-template-columns:3.9em minmax(0,1fr)}.x .o{display:none}
th,td{padding:4px 6px}}
@media print{:root{--bg:#fff;--card:#fff;--text:#000;--muted:#444;--line:#999;--grid:#ddd;--mean:#4a94c9;--edge:#0b5c94;
--bad:#c2410c;--lost:#86198f;--gap:#555;--event:#0f766e;--good:#0f766e;--link:#000;color-scheme:light}
@page{margin:14mm}body{font-size:9.5pt}main,header,footer{max-width:none;padding-left:0;padding-right:0}nav{display:none}
h2{break-after:avoid}tr,li{break-inside:avoid}.scroll{overflow:visible}table{font-size:8pt}th,td{padding:3px 5px}
svg.times{width:140px;height:32px}.messages details::details-content{content-visibility:visible;block-size:auto}
a{text-decoration:none}*{-webkit-print-color-adjust:exact;print-color-adjust:exact}}
)css";

const char* const kReportScript = R"js(
for (const table of document.querySelectorAll("table.sort")) {
  const body = table.tBodies[0], rows = [...body.rows];
  const value = (row, column) => {
    const cell = row.cells[column], text = cell.dataset.v ?? cell.textContent;
    return text !== "" && !isNaN(text) ? +text : text;
  };
  [...table.tHead.rows[0].cells].forEach((head, column) => {
    if (head.dataset.s === undefined) return;
    const button = document.createElement("button");
    button.append(...head.childNodes);
    head.append(button);
    button.onclick = () => {
      const before = head.getAttribute("aria-sort");
      const up = before ? before === "descending" : head.dataset.s === "order";
      for (const other of table.tHead.rows[0].cells) other.removeAttribute("aria-sort");
      head.setAttribute("aria-sort", up ? "ascending" : "descending");
      const sorted = [...rows];
      if (head.dataset.s === "order") {
        if (!up) sorted.reverse();
      } else {
        sorted.sort((a, b) => {
          const x = value(a, column), y = value(b, column);
          const order = typeof x === typeof y ? (x < y ? -1 : x > y ? 1 : 0) : typeof x === "number" ? 1 : -1;
          return up ? order : -order;
        });
      }
      body.append(...sorted);
    };
  });
}
)js";

const char* const kReportScriptSha256 = "cT3l4e9iH552fUFJfkvSX+65po9xIzhzlp3BPhb6yzU=";

}  // namespace client
