// SPDX-License-Identifier: Apache-2.0

#include "zulctl/ReportStyle.h"

namespace zulctl {

// Neither holds a character that HTML and XML read in different ways.
const char kReportStyle[] = R"css(
:root { color-scheme: light dark; --back: #fff; --text: #1c1e21; --soft: #5c636b; --line: #d5d9de;
  --panel: #f4f6f8; --good: #1667b7; --bad: #c02a1d; --warn: #9a5b00; --run: #0d7a3c; --old: #6b7280; }
@media (prefers-color-scheme: dark) { :root { --back: #16181c; --text: #e6e8ea; --soft: #a3abb5;
  --line: #3a4048; --panel: #1f2329; --good: #6db3f2; --bad: #ff8a7a; --warn: #f0b35a; --run: #5fd38d;
  --old: #9aa2ad; } }
* { box-sizing: border-box; }
body { margin: 0 auto; max-width: 1400px; padding: 12px; background: var(--back); color: var(--text);
  font: 15px/1.45 system-ui, sans-serif; }
h1 { font-size: 1.5em; margin: 0.2em 0; }
h2 { font-size: 1.15em; margin: 1.6em 0 0.5em; }
p { margin: 0.4em 0; overflow-wrap: anywhere; }
.soft, caption { color: var(--soft); }
.wrap { overflow-x: auto; }
.picture { background: var(--panel); padding: 10px 14px; overflow: hidden; }
table { border-collapse: collapse; min-width: 50%; font-size: 0.93em; }
caption { text-align: left; padding-bottom: 4px; }
th, td { text-align: left; vertical-align: top; padding: 3px 12px 3px 0;
  border-bottom: 1px solid var(--line); overflow-wrap: anywhere; }
th { font-weight: 600; overflow-wrap: normal; }
.n { text-align: right; white-space: nowrap; font-variant-numeric: tabular-nums; }
.m { font-family: ui-monospace, monospace; unicode-bidi: isolate; min-width: 13ch; }
th.m { font-family: inherit; }
tr:target { background: var(--panel); outline: 2px solid var(--good); }
ul.legend { list-style: none; margin: 8px 0 0; padding: 0; display: flex; flex-wrap: wrap; gap: 2px 18px; }
ul.legend svg { vertical-align: middle; margin-right: 6px; }
svg { overflow: visible; display: block; }
ul.legend svg { display: inline-block; }
svg text { fill: var(--text); font: 12px ui-monospace, monospace; unicode-bidi: isolate; }
svg text.soft { fill: var(--soft); }
.track { stroke: var(--line); }
.cut { fill: var(--back); stroke: var(--line); stroke-dasharray: 2 2; }
.bar { fill: currentColor; opacity: 0.45; }
.heap { fill: currentColor; } .share { fill: var(--good); }
.present { color: var(--good); } .unlisted, .unrecorded { color: var(--warn); }
.running { color: var(--run); } .left, .dropped { color: var(--bad); }
.missing, .overwritten, .several { color: var(--old); }
.turn { stroke: var(--soft); } .gone { stroke: var(--bad); stroke-dasharray: 4 3; }
.back { stroke: var(--run); stroke-dasharray: 1 3; }
a:focus-visible { outline: 2px solid var(--text); outline-offset: 3px; }
@media print { :root { --back: #fff; --text: #000; --panel: #fff; --soft: #333; }
  body { max-width: none; } h2, tr { break-after: avoid; break-inside: avoid; }
  .wrap { overflow: visible; } }
)css";

const char kReportShapes[] = R"svg(<defs>
<g id="s-present"><circle r="5" fill="currentColor"/></g>
<g id="s-missing"><circle r="4" fill="none" stroke="currentColor" stroke-width="2"/></g>
<g id="s-running"><path d="M-4 -5 L6 0 L-4 5 Z" fill="currentColor"/></g>
<g id="s-left"><path d="M-5 4 L0 -5 L5 4 Z" fill="none" stroke="currentColor" stroke-width="2"/></g>
<g id="s-overwritten"><rect x="-4" y="-4" width="8" height="8" fill="none" stroke="currentColor" stroke-width="2"/></g>
<g id="s-unrecorded"><path d="M0 -6 L6 0 L0 6 L-6 0 Z" fill="currentColor"/></g>
<g id="s-unlisted"><rect x="-4.5" y="-4.5" width="9" height="9" fill="currentColor"/></g>
<g id="s-dropped"><path d="M-4 -4 L4 4 M-4 4 L4 -4" stroke="currentColor" stroke-width="2.4"/></g>
<g id="s-several"><path d="M-5 6 V2 H-1 V-6 H3 V-1 H6 V6 Z" fill="currentColor"/></g>
</defs>
)svg";

}  // namespace zulctl
