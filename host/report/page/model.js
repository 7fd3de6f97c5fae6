// The page's data about files: columns with one entry for each file, in the order of the report.

const data = JSON.parse(byId('data').textContent);
byId('data').remove();
const verdicts = ['whole', 'open', 'truncated', 'damaged'];
const verdictMeanings = ['intact from its start to the end that it declares',
  'of a format that declares no end or that cannot be checked: the size is an estimate',
  'goes on beyond what is there: its last part is missing', 'its structure breaks: it may open in part'];

// What a kind's place in the list tells: drawings are the last of the pictures, films the last of what is a gallery at first.
const groupNames = data.kinds;
const LastOfPictures = groupNames.indexOf('Drawings');
const LastGallery = groupNames.indexOf('Films');

// A type of the report is [extension, name, kind].
const groupOfType = data.types.map(([, , kind]) => kind);

// Numbers of a column: seven bits a byte, the lowest first, and the sign in the lowest bit.
function decode(text, numbers) {
  const bytes = atob(text);
  let value = 0;
  let scale = 1;
  for (let i = 0, at = 0; i < bytes.length; ++i) {
    const byte = bytes.charCodeAt(i);
    value += (byte & 0x7f) * scale;
    scale *= 0x80;
    if (byte < 0x80) {
      numbers[at++] = value % 2 === 0 ? value / 2 : -(value + 1) / 2;
      value = 0;
      scale = 1;
    }
  }
  return numbers;
}

const files = {
  count: data.count,
  start: decode(data.start, new Float64Array(data.count)),
  size: decode(data.size, new Float64Array(data.count)),
  type: decode(data.type, new Uint16Array(data.count)),
  verdict: decode(data.verdict, new Uint8Array(data.count)),
  why: decode(data.why, new Uint32Array(data.count)),
};
let isInOrder = true;
for (let file = 1; file < files.count; ++file) {
  isInOrder &&= files.start[file] >= 0;
  files.start[file] += files.start[file - 1];
}

// What not all files have: read when it is first asked for, as most of it is shown for a single file only.
const columns = new Map();
const hasColumn = (name) => data.columns.includes(name);

function columnOf(name) {
  if (!columns.has(name)) {
    const element = byId(`column-${name}`);
    // The page is still on its way.
    if (!element || !element.nextSibling) {
      return null;
    }
    const { steps, values } = JSON.parse(element.textContent);
    element.remove();
    // Where a file's value stands, from 1 on.
    const places = new Uint32Array(files.count);
    let file = 0;
    decode(steps, new Float64Array(values.length)).forEach((step, i) => {
      file += step;
      places[file] = i + 1;
    });
    columns.set(name, { places, values });
  }
  return columns.get(name);
}

function fieldOf(name, file) {
  const column = hasColumn(name) ? columnOf(name) : null;
  return column && column.places[file] > 0 ? column.values[column.places[file] - 1] : undefined;
}

const extensionOf = (file) => data.types[files.type[file]][0];
const typeNameOf = (file) => data.types[files.type[file]][1];
const whyOf = (file) => data.whys[files.why[file]];
const takenOf = (file) => fieldOf('taken', file) ?? '';

function pathOf(file) {
  const extension = extensionOf(file);
  return fieldOf('path', file)
    ?? `${extension}/f${String(files.start[file]).padStart(10, '0')}.${extension}`;
}

function originalOf(file) {
  const name = fieldOf('original', file);
  return name === undefined ? '' : data.folders[fieldOf('folder', file)] + name;
}

function nameOf(file) {
  const path = pathOf(file);
  return fieldOf('original', file) || path.slice(path.lastIndexOf('/') + 1) || path;
}

// Base64 without its padding: 43 characters for each file, blank if there is no hash.
const HashLength = 43;
let hashes;
function hashOf(file) {
  if (document.readyState === 'loading') {
    return '';
  }
  hashes ??= byId('hashes').textContent;
  const text = hashes.slice(file * HashLength, (file + 1) * HashLength);
  return text.trim() && Array.from(atob(text), (c) => c.charCodeAt(0).toString(16).padStart(2, '0')).join('');
}

// Stretches of the medium as [first sector, bytes].
const extentsOf = (file) => fieldOf('extents', file) ?? [[files.start[file], files.size[file]]];

function address(path) {
  const parts = path.split('/');
  // A manipulated report must not lead out of the folder.
  return parts.some((part) => part === '' || part === '.' || part === '..')
    ? null : parts.map(encodeURIComponent).join('/');
}

// Types that browsers show or play.
const shown = new Set('jpg png gif bmp webp ico'.split(' '));
const played = { mp4: 'video', m4v: 'video', mov: 'video', '3gp': 'video', webm: 'video', mkv: 'video',
  mp3: 'audio', m4a: 'audio', wav: 'audio', ogg: 'audio' };
// Types that may be opened directly: none in which a browser runs scripts, or that it may take for a page.
const opened = new Set([...shown, ...Object.keys(played), ...('pdf txt tif psd doc docx xls xlsx ppt pptx vsd mpp pub odt '
  + 'ods odp odg odf zip 7z rar cab avi wmv flv wma').split(' ')]);

// Larger pictures take a browser seconds and gigabytes.
const MostPixels = 120e6;
const MostThumbnailBytes = 48 * 2 ** 20;
const pixelsOf = (file) => (fieldOf('width', file) ?? 0) * (fieldOf('height', file) ?? 0);
const isSmallEnough = (file) => pixelsOf(file) <= MostPixels && files.size[file] <= MostThumbnailBytes;
// The source for a file's picture: the file itself, or a preview that was taken out of it.
function pictureOf(file) {
  const preview = fieldOf('preview', file);
  return preview ?? (shown.has(extensionOf(file)) && isSmallEnough(file) ? pathOf(file) : null);
}

const filter = { group: -1, verdicts: new Set(), type: -1, text: '', minSize: 0, maxSize: Infinity, takenFrom: '',
  takenTo: '', place: null };

const overlaps = ([start, bytes], [first, end]) =>
  start < end && start + Math.max(1, Math.ceil(bytes / data.sectorSize)) > first;

// A test for all filters but the group and the verdicts, which are counted separately.
function makeTest() {
  const words = filter.text.toLowerCase().split(/\s+/).filter(Boolean);
  const has = (texts, word) => texts.map((text) => text.toLowerCase().includes(word));
  const inType = words.map((word) => has(data.types.map(([extension, name]) => `${extension} ${name}`), word));
  const inWhy = words.map((word) => has(data.whys, word));
  const inFile = (file, word) => pathOf(file).toLowerCase().includes(word)
    || originalOf(file).toLowerCase().includes(word)
    || ['title', 'camera'].some((name) => fieldOf(name, file)?.toLowerCase().includes(word))
    || (word.length >= 8 && hashOf(file).startsWith(word));
  return (file) => {
    const size = files.size[file];
    if (size < filter.minSize || size > filter.maxSize || (filter.type >= 0 && files.type[file] !== filter.type)) {
      return false;
    }
    if (filter.takenFrom || filter.takenTo) {
      const day = takenOf(file).slice(0, 10);
      if (!day || day < filter.takenFrom || (filter.takenTo && day > filter.takenTo)) {
        return false;
      }
    }
    return (!filter.place || extentsOf(file).some((extent) => overlaps(extent, filter.place)))
      && words.every((word, i) => inType[i][files.type[file]] || inWhy[i][files.why[file]] || inFile(file, word));
  };
}

// The files that pass the filters, and how many there would be of each group and of each verdict.
function selectFiles() {
  const test = makeTest();
  const chosen = new Uint32Array(files.count);
  const byGroup = new Array(groupNames.length).fill(0);
  const byVerdict = new Array(verdicts.length).fill(0);
  let count = 0;
  let bytes = 0;
  for (let file = 0; file < files.count; ++file) {
    if (test(file)) {
      const group = groupOfType[files.type[file]];
      const verdict = files.verdict[file];
      const isOfGroup = filter.group < 0 || filter.group === group;
      const isOfVerdict = filter.verdicts.size === 0 || filter.verdicts.has(verdict);
      byGroup[group] += isOfVerdict;
      byVerdict[verdict] += isOfGroup;
      if (isOfGroup && isOfVerdict) {
        chosen[count++] = file;
        bytes += files.size[file];
      }
    }
  }
  return { order: chosen.subarray(0, count), bytes, byGroup, byVerdict };
}

const rankOf = (texts) => {
  const inOrder = texts.map((_, i) => i).sort((a, b) => texts[a].localeCompare(texts[b]));
  const ranks = new Uint16Array(texts.length);
  inOrder.forEach((i, rank) => (ranks[i] = rank));
  return ranks;
};
const rankOfType = rankOf(data.types.map(([extension]) => extension));

const sorts = {
  place: ['Place', (a, b) => files.start[a] - files.start[b]],
  name: ['Name', null, nameOf],
  type: ['Type', (a, b) => rankOfType[files.type[a]] - rankOfType[files.type[b]]],
  verdict: ['Verdict', (a, b) => files.verdict[a] - files.verdict[b]],
  size: ['Size', (a, b) => files.size[a] - files.size[b]],
  pixels: ['Pixels', (a, b) => pixelsOf(a) - pixelsOf(b)],
  taken: ['Date taken', null, takenOf],
};

// Largest first is what people look for.
const startsDescending = (key) => key === 'size' || key === 'pixels';

function sortFiles(order, key, isDescending) {
  if (key === 'place' && isInOrder) {
    return isDescending ? order.reverse() : order;
  }
  const [, ownCompare, textOf] = sorts[key];
  let compare = ownCompare;
  if (textOf) {
    const texts = new Array(files.count);
    order.forEach((file) => (texts[file] = textOf(file)));
    compare = (a, b) => (texts[a] < texts[b] ? -1 : Number(texts[a] > texts[b]));
  }
  const sign = isDescending ? -1 : 1;
  return order.sort((a, b) => sign * compare(a, b) || a - b);
}
