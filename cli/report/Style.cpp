#include "cli/report/Page.h"

namespace cli {

const char pageStyle[] = R"css(
:root {
  color-scheme: light dark;
  --ground: #f6f7f9; --sheet: #ffffff; --ink: #1b1f24; --soft: #57606a; --rule: #d5dae0; --accent: #0b5cad;
  --good: #146c3a; --good-ground: #e7f4ec; --bad: #a4161a; --bad-ground: #fdecec;
  --red: #c62828; --green-red: #2e7d32; --green-blue: #00796b; --blue: #1565c0; --all: #37474f;
}
@media (prefers-color-scheme: dark) {
  :root {
    --ground: #14171b; --sheet: #1c2026; --ink: #e6e9ed; --soft: #a3acb7; --rule: #363d46; --accent: #79b8ff;
    --good: #7ee2a8; --good-ground: #14301f; --bad: #ff9a9a; --bad-ground: #3a1719;
    --red: #ff7b72; --green-red: #7ee787; --green-blue: #4dd0c1; --blue: #79b8ff; --all: #d0d7de;
  }
}
* { box-sizing: border-box; }
body { margin: 0; padding: 1.5rem; background: var(--ground); color: var(--ink);
  font: 15px/1.5 system-ui, "Segoe UI", "Liberation Sans", sans-serif; font-variant-numeric: tabular-nums; }
header, main, footer { max-width: 66rem; margin: 0 auto; }
h1 { margin: 0; font-size: 1.7rem; line-height: 1.2; }
h2 { margin: 0 0 .75rem; font-size: 1.15rem; }
h3 { margin: 1rem 0 .4rem; font-size: .95rem; }
p { margin: .3rem 0; }
a { color: var(--accent); }
:focus-visible { outline: 2px solid var(--accent); outline-offset: 2px; }
nav { display: flex; flex-wrap: wrap; gap: .25rem 1rem; margin: .75rem 0 1rem; }
.date, .note, .absent, footer, figcaption, dt { color: var(--soft); }
.note, footer { font-size: .87rem; }
section { background: var(--sheet); border: 1px solid var(--rule); border-radius: 6px; padding: 1rem 1.1rem;
  margin: 0 0 1rem; }
#verdict { border-left-width: 6px; }
#verdict.good { border-left-color: var(--good); background: var(--good-ground); }
#verdict.bad { border-left-color: var(--bad); background: var(--bad-ground); }
#verdict.good strong { color: var(--good); }
#verdict.bad strong { color: var(--bad); }
#verdict p { overflow-wrap: anywhere; }
#verdict ul { margin: .5rem 0 0; padding-left: 1.2rem; }
.facts { display: grid; grid-template-columns: repeat(auto-fit, minmax(9.5rem, 1fr)); gap: 1px; margin: 0 0 1rem;
  background: var(--rule); border: 1px solid var(--rule); border-radius: 6px; overflow: hidden; }
.facts div { background: var(--sheet); padding: .55rem .8rem; }
dt { font-size: .8rem; }
dd { margin: 0; font-weight: 600; }
.grid { display: grid; grid-template-columns: repeat(auto-fit, minmax(min(100%, 24rem), 1fr)); gap: 0 1.5rem;
  align-items: start; }
.wide { overflow-x: auto; }
table { border-collapse: collapse; width: 100%; margin: 0 0 .5rem; }
th, td { padding: .22rem .6rem; border-bottom: 1px solid var(--rule); text-align: right; white-space: nowrap; }
th:first-child, td:first-child { text-align: left; padding-left: 0; }
thead th { color: var(--soft); font-size: .8rem; font-weight: 600; vertical-align: bottom; }
tbody th { font-weight: 500; }
tbody tr:last-child > * { border-bottom: 0; }
.flags td:last-child { white-space: normal; text-align: left; min-width: 12rem; }
.flags th:last-child { text-align: left; }
.numbers td, .numbers tbody th, code, pre, .calls b { font-family: ui-monospace, Consolas, "Liberation Mono", monospace;
  font-size: .87rem; }
.differs, .differs * { color: var(--bad); font-weight: 600; }
pre { overflow-x: auto; margin: 0; }
figure { margin: 0 0 .8rem; }
figcaption { font-size: .87rem; font-weight: 600; }
.plot { display: block; width: 100%; max-width: 48rem; height: auto; }
.plot .grid { stroke: var(--rule); stroke-width: 1; }
.plot .axis { stroke: var(--soft); stroke-width: 1; }
.plot .mark { stroke: var(--soft); stroke-width: 1; stroke-dasharray: 4 3; }
.plot text { fill: var(--soft); font-size: 11px; }
.plot text.x { text-anchor: middle; }
.plot text.tick.y { text-anchor: end; }
.plot text.label.y { text-anchor: middle; }
.curve { fill: none; stroke: var(--colour); stroke-width: 1.6; stroke-linejoin: round; }
.area { fill: var(--colour); opacity: .22; }
.dot { fill: var(--colour); }
.channel-R { --colour: var(--red); }
.channel-Gr { --colour: var(--green-red); }
.channel-Gb { --colour: var(--green-blue); }
.channel-B { --colour: var(--blue); }
.channel-all, .channel-grey { --colour: var(--all); }
.curve.channel-R { stroke-dasharray: 7 2; }
#frame-rate .curve, #histogram-R .curve { stroke-dasharray: none; }
.curve.channel-Gb { stroke-dasharray: 2 2; }
.curve.channel-B { stroke-dasharray: 9 3 2 3; }
#histogram-Gb .curve, #histogram-B .curve { stroke-dasharray: none; }
.legend { display: flex; flex-wrap: wrap; gap: .2rem 1.2rem; list-style: none; margin: 0; padding: 0 0 0 3.4rem;
  font-size: .85rem; }
.legend li::before { content: ""; display: inline-block; width: 1.3em; height: .25em; margin-right: .45em;
  vertical-align: middle; background: var(--colour); }
.zoom input { position: absolute; opacity: 0; }
.zoom label { display: inline-block; padding: .1rem .7rem; margin: 0 .3rem .5rem 0; border: 1px solid var(--rule);
  border-radius: 4px; cursor: pointer; }
.zoom input:checked + label { background: var(--accent); border-color: var(--accent); color: var(--sheet); }
.zoom input:focus-visible + label { outline: 2px solid var(--accent); outline-offset: 2px; }
.stage { overflow: auto; max-height: 80vh; border: 1px solid var(--rule); }
.stage svg { display: block; width: min(100%, calc(var(--width) * 1px)); height: auto; margin: 0 auto; }
#zoom-one:checked ~ .stage svg { width: calc(var(--width) * 1px); }
#zoom-two:checked ~ .stage svg { width: calc(var(--width) * 2px); }
#zoom-four:checked ~ .stage svg { width: calc(var(--width) * 4px); }
#zoom-two:checked ~ .stage image, #zoom-four:checked ~ .stage image { image-rendering: pixelated; }
.region { fill: none; stroke: #ffd400; stroke-width: 2; vector-effect: non-scaling-stroke; }
.columns { columns: 11rem; column-gap: 1.5rem; margin: 0 0 .5rem; }
.columns div { display: flex; justify-content: space-between; border-bottom: 1px solid var(--rule); padding: .15rem 0;
  break-inside: avoid; }
.calls { columns: 19rem; column-gap: 1.5rem; margin: 0; padding-left: 2.4rem; }
.calls li { break-inside: avoid; }
.calls li::marker { color: var(--soft); font-size: .8rem; }
.calls b { font-weight: 600; }
@media (max-width: 40rem) {
  body { padding: .75rem; }
  section { padding: .8rem; }
  .plot text { font-size: 14px; }
  #sfr text, #frame-rate text { font-size: 19px; }
  #sfr .label.y, #frame-rate .label.y { display: none; }
}
@page { size: A4; margin: 14mm 12mm; }
@media print {
  :root {
    color-scheme: light;
    --ground: #fff; --sheet: #fff; --ink: #000; --soft: #444; --rule: #bbb; --accent: #000; --good: #0d5229;
    --good-ground: #f1f8f3; --bad: #8f1115; --bad-ground: #fdf1f1; --red: #c62828; --green-red: #2e7d32;
    --green-blue: #00796b; --blue: #1565c0; --all: #222;
  }
  * { print-color-adjust: exact; -webkit-print-color-adjust: exact; }
  body { padding: 0; font-size: 9.5pt; }
  nav, .zoom input, .zoom label { display: none; }
  section { border: 0; border-top: 1px solid var(--rule); border-radius: 0; padding: 3mm 0; margin: 0; }
  #verdict { border: 1px solid var(--rule); border-left: 6px solid; padding: 3mm; margin-bottom: 3mm; }
  h2, h3, figcaption { break-after: avoid; }
  tr, figure, .stage, .facts, .columns, #verdict { break-inside: avoid; }
  .grid { grid-template-columns: 1fr 1fr; }
  .facts { grid-template-columns: repeat(3, 1fr); }
  #sfr, #frame-rate { max-width: 135mm; }
  .wide, .stage { overflow: visible; max-height: none; }
  .stage { border: 0; }
  .stage svg, .zoom input:checked ~ .stage svg { width: auto; max-width: 100%; max-height: 150mm; }
  th, td { padding: .12rem .4rem; }
  .calls { columns: 3; font-size: 8pt; }
  .calls code, .calls b { font-size: 7.5pt; }
}
)css";

}  // namespace cli
