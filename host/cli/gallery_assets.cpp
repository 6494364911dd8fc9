#include "host/cli/gallery_assets.h"

namespace quillon {

const char* const galleryStyle = R"(:root {
  color-scheme: light dark;
  --ground: #f4f3f0; --card: #ffffff; --ink: #1d1f22; --dim: #61666e; --line: #dcdad4; --link: #0a58a8;
}
@media (prefers-color-scheme: dark) {
  :root { --ground: #131416; --card: #1d1f23; --ink: #e3e5e8; --dim: #999fa8; --line: #303339; --link: #8dbbff; }
}
* { box-sizing: border-box; }
html { scroll-behavior: smooth; scroll-padding-top: 16px; }
body { margin: 0; background: var(--ground); color: var(--ink); font: 15px/1.5 system-ui, sans-serif; }
a { color: var(--link); text-decoration-thickness: 1px; text-underline-offset: 2px; }
.top, main, footer { max-width: 1560px; margin: 0 auto; padding: 0 20px; }
.top { padding-top: 36px; }
h1 { margin: 0; font-size: 32px; line-height: 1.2; font-weight: 650; }
.top p { max-width: 60em; margin: 8px 0 16px; color: var(--dim); }
nav { display: flex; flex-wrap: wrap; gap: 6px; }
nav a {
  padding: 2px 10px; border: 1px solid var(--line); border-radius: 14px; background: var(--card);
  color: var(--ink); font-size: 13px; text-decoration: none;
}
nav a:hover { border-color: var(--link); color: var(--link); }
section { padding-top: 44px; }
figure { margin: 0; }
img { display: block; width: 100%; height: auto; background: #0b0c0d; }
button { font: inherit; color: inherit; }

/* The scene: the picture over its source, divided where the slider stands, and words beside it. */
.lead { display: grid; gap: 20px; }
@media (min-width: 900px) { .lead { grid-template-columns: minmax(0, 3fr) minmax(0, 2fr); gap: 28px; } }
.words h2 { margin: 0; font-size: 24px; line-height: 1.25; font-weight: 650; }
.words h2 small { margin-left: 8px; font-size: 13px; font-weight: 400; color: var(--dim); white-space: nowrap; }
.words p { margin: 8px 0 0; }
.words ul { margin: 10px 0 0; padding-left: 18px; color: var(--dim); font-size: 14px; }
.words li { margin: 3px 0; }
.split { position: relative; align-self: start; overflow: hidden; border-radius: 6px; --at: 50%; }
.split .after { position: absolute; inset: 0; clip-path: inset(0 0 0 var(--at)); }
.split .after img { height: 100%; }
.split::after {
  content: ""; position: absolute; top: 0; bottom: 0; left: var(--at); width: 2px; margin-left: -1px;
  background: #fff; box-shadow: 0 0 3px rgba(0, 0, 0, .8); pointer-events: none;
}
/* What is made from nothing has no source. */
.split.alone { --at: 0%; }
.split.alone::after { display: none; }
.split input { position: absolute; inset: 0; width: 100%; height: 100%; margin: 0; opacity: 0; cursor: ew-resize; }
.split:focus-within { outline: 2px solid var(--link); outline-offset: 2px; }
.tag {
  position: absolute; bottom: 10px; padding: 1px 8px; border-radius: 3px; background: rgba(0, 0, 0, .62);
  color: #fff; font-size: 12px; pointer-events: none;
}
.tag.left { left: 10px; } .tag.right { right: 10px; }
.enlarge {
  position: absolute; top: 10px; right: 10px; width: 34px; height: 34px; border: 0; border-radius: 4px;
  background: rgba(0, 0, 0, .62); color: #fff; font-size: 17px; line-height: 1; cursor: zoom-in;
}

/* One card a preset. A row holds as many as the section's number of cards divides into best, so that none stays half
   empty: twelfths of the width, given for two, three and four cards in a row. */
.cards { display: grid; grid-template-columns: repeat(12, minmax(0, 1fr)); gap: 14px; margin-top: 18px; }
.card { grid-column: span 12; overflow: hidden; border: 1px solid var(--line); border-radius: 6px; background: var(--card); }
@media (min-width: 560px) { .card { grid-column: span var(--two); } }
@media (min-width: 900px) { .card { grid-column: span var(--three); } }
@media (min-width: 1240px) { .card { grid-column: span var(--four); } }
.shot { position: relative; display: block; width: 100%; padding: 0; border: 0; background: none; cursor: zoom-in; }
.shot .after { position: absolute; inset: 0; transition: opacity .15s; }
.shot .after img { height: 100%; }
.shot .tag { opacity: 0; transition: opacity .15s; }
@media (hover: hover) { .shot:not(.alone):hover .after { opacity: 0; } .shot:hover .tag { opacity: 1; } }
.shot:focus-visible { outline: 3px solid var(--link); outline-offset: -3px; }
figcaption { padding: 8px 12px 11px; }
figcaption b { font-weight: 600; }
.values { margin: 2px 0 0; padding: 0; list-style: none; color: var(--dim); font-size: 13px; line-height: 1.45; }
.values li { display: inline; }
.values li:not(:last-child)::after { content: " \00b7  "; }
.values b { font-weight: 400; color: var(--ink); font-variant-numeric: tabular-nums; }
details summary { color: var(--dim); font-size: 13px; cursor: pointer; }
footer { padding-top: 44px; padding-bottom: 56px; color: var(--dim); font-size: 14px; }

/* Enlarged. */
dialog { width: 100vw; height: 100vh; max-width: none; max-height: none; padding: 0; border: 0; background: #0b0c0d; color: #e3e5e8; }
dialog[open] { display: grid; grid-template-rows: minmax(0, 1fr) auto; }
dialog .stage { display: grid; place-items: center; min-height: 0; padding: 12px 12px 0; }
dialog .split { align-self: center; width: min(100%, calc((100vh - 84px) * var(--shape))); border-radius: 0; }
dialog .bar { display: flex; flex-wrap: wrap; align-items: center; gap: 8px; padding: 10px 16px 14px; }
dialog .bar span { flex: 1 1 12em; }
dialog .bar button { padding: 5px 14px; border: 1px solid #454a52; border-radius: 4px; background: #202327; cursor: pointer; }
dialog .bar button:hover { border-color: #8dbbff; }
dialog .bar button[hidden] { display: none; }

/* The page of an effect. */
.page { max-width: 1120px; margin: 0 auto; padding: 28px 20px 60px; }
.page h2 { margin: 36px 0 8px; font-size: 21px; }
.page h3 { margin: 22px 0 6px; font-size: 16px; }
.page .table { overflow-x: auto; }
.page table { width: 100%; border-collapse: collapse; font-size: 14px; }
.page th, .page td { padding: 6px 10px 6px 0; border-top: 1px solid var(--line); text-align: left; vertical-align: top; }
.page th { font-weight: 600; border-top: 0; }
.page th:empty { padding: 0; }
.page td img { min-width: 200px; max-width: 100%; }
.page code { font-size: 13px; overflow-wrap: anywhere; }
.page blockquote { margin: 12px 0; padding: 2px 14px; border-left: 3px solid var(--line); color: var(--dim); }
)";

const char* const galleryScript = R"((function () {
  "use strict";
  function follow(split) {
    var slider = split.querySelector("input");
    if (!slider) return;
    slider.addEventListener("input", function () { split.style.setProperty("--at", slider.value + "%"); });
  }
  document.querySelectorAll(".split").forEach(follow);

  var dialog = document.querySelector("dialog");
  if (!dialog) return;
  var shots = Array.prototype.slice.call(document.querySelectorAll("[data-full]"));
  var split = dialog.querySelector(".split"), slider = split.querySelector("input");
  var before = split.querySelector(".before"), after = split.querySelector(".after img");
  var title = dialog.querySelector(".bar span"), play = dialog.querySelector(".play");
  var current = 0, playing = false;

  function show(index) {
    current = (index + shots.length) % shots.length;
    var shot = shots[current].dataset;
    playing = playing && Boolean(shot.loop);
    after.src = playing ? shot.loop : shot.full;
    after.alt = shot.title;
    before.src = shot.source || shot.full;
    split.classList.toggle("alone", !shot.source);
    slider.hidden = !shot.source;
    title.textContent = shot.title;
    play.hidden = !shot.loop;
    play.textContent = playing ? "Still" : "Play";
  }
  function move(step) { show(current + step); }
  shots.forEach(function (shot, index) {
    shot.addEventListener("click", function () {
      playing = false;
      slider.value = 0;
      split.style.setProperty("--at", "0%");
      show(index);
      dialog.showModal();
    });
  });
  play.addEventListener("click", function () { playing = !playing; show(current); });
  dialog.querySelector(".previous").addEventListener("click", function () { move(-1); });
  dialog.querySelector(".next").addEventListener("click", function () { move(1); });
  dialog.querySelector(".close").addEventListener("click", function () { dialog.close(); });
  dialog.addEventListener("keydown", function (event) {
    if (event.target === slider) return;
    if (event.key === "ArrowLeft") move(-1);
    if (event.key === "ArrowRight") move(1);
  });
})();
)";

}  // namespace quillon
