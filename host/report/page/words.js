// Numbers and elements for people.

const numberFormat = new Intl.NumberFormat('en');
const formatNumber = (number) => numberFormat.format(number);
const plural = (count, one, many = `${one}s`) => `${formatNumber(count)} ${count === 1 ? one : many}`;

function formatSize(bytes) {
  if (bytes < 1024) {
    return plural(bytes, 'byte');
  }
  const power = Math.min(5, Math.floor(Math.log2(bytes) / 10));
  return `${(bytes / 2 ** (10 * power)).toFixed(1)} ${['', 'KiB', 'MiB', 'GiB', 'TiB', 'PiB'][power]}`;
}

// Parses a size such as "64K" or "1.5 MiB"; nothing if it is not a size.
function parseSize(text) {
  const match = /^\s*(\d+(?:[.,]\d+)?)\s*([kmgt]?)(?:i?b|bytes?)?\s*$/i.exec(text);
  return match ? Number(match[1].replace(',', '.')) * 2 ** (10 * ' kmgt'.indexOf(match[2].toLowerCase() || ' ')) : null;
}

function formatShare(part, whole) {
  const percent = whole > 0 ? (100 * part) / whole : 0;
  return percent > 0 && percent < 0.1 ? '< 0.1 %' : `${percent.toFixed(percent < 10 && percent > 0 ? 1 : 0)} %`;
}

// An element with its properties and children. Texts become text, never markup: they come from the medium.
function make(tag, properties = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(properties)) {
    if (name in element && !name.startsWith('aria')) {
      element[name] = value;
    } else {
      element.setAttribute(name, value);
    }
  }
  element.append(...children.filter((child) => child !== null && child !== undefined));
  return element;
}

const byId = (id) => document.getElementById(id);

function verdictBadge(verdict) {
  return make('span', { className: `badge ${verdicts[verdict]}` }, verdicts[verdict]);
}
