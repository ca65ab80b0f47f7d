// Opened as page.html#truth=WxH, a page replaces itself by the words it shows inside a WxH window,
// in document order, one text node a line: the ground truth of its screenshot at that size. A
// window of any other size gives "viewport WxH" instead, for the caller to try again.
// Opened with ?dark in its address, it takes its dark colours.
if (location.search.includes("dark")) document.documentElement.classList.add("dark");
window.addEventListener("load", () => {
  const wanted = location.hash.match(/^#truth=(\d+)x(\d+)$/);
  if (!wanted) return;
  const pre = document.createElement("pre");
  pre.id = "truth";
  if (innerWidth !== +wanted[1] || innerHeight !== +wanted[2]) {
    pre.textContent = `viewport ${innerWidth}x${innerHeight}`;
    document.body.replaceWith(document.createElement("body"));
    document.body.appendChild(pre);
    return;
  }
  const inside = (r) => r.width > 0 && r.left >= 0 && r.top >= 0 && r.right <= innerWidth && r.bottom <= innerHeight;
  const lines = [];
  const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
  for (let node; (node = walker.nextNode());) {
    if (getComputedStyle(node.parentElement).visibility === "hidden") continue;
    const words = [];
    for (const match of node.data.matchAll(/\S+/g)) {
      const range = document.createRange();
      range.setStart(node, match.index);
      range.setEnd(node, match.index + match[0].length);
      if (inside(range.getBoundingClientRect())) words.push(match[0]);
    }
    if (words.length) lines.push(words.join(" "));
  }
  pre.textContent = lines.join("\n");
  document.body.replaceWith(document.createElement("body"));
  document.body.appendChild(pre);
});
