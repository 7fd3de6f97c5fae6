// What the page knows of the files: columns, one entry a file, in the order of the report.

const data = JSON.parse(document.getElementById('data').textContent);
const verdicts = ['whole', 'open', 'truncated', 'damaged'];

const groupNames = ['Pictures', 'Films', 'Sounds', 'Documents', 'Mail', 'Archives', 'Other', 'Text'];
const groupExtensions = {
  Pictures: 'jpg png tif gif bmp webp psd psb xcf psp pcx ico cur ani cr2 cr3 crw nef arw sr2 srf dng orf pef raf dcr '
    + 'mrw rdc x3f ai cdr wmf emf cam dcd oci',
  Films: 'mp4 mov 3gp m4v avi wmv asf mkv webm flv swf rm vob mts m2ts ts',
  Sounds: 'mp3 m4a wma wav aif aiff ogg au mid mmf',
  Documents: 'pdf doc docx xls xlsx ppt pptx vsd mpp pub odt ods odp odg odb odf wpd qxp qpt p65 shw qpw one htm html '
    + 'xml chm hlp et dps dwg dxf',
  Mail: 'eml msg mht pst dbx',
  Archives: 'zip jar 7z rar cab',
};

// A type of the report is [extension, name, 1 for plain text].
const groupOfType = data.types.map(([extension, , isText]) => {
  const name = isText ? 'Text'
    : Object.keys(groupExtensions).find((group) => groupExtensions[group].split(' ').includes(extension));
  return groupNames.indexOf(name ?? 'Other');
});

const files = {
  count: data.files.start.length,
  start: new Float64Array(data.files.start.length),
  size: Float64Array.from(data.files.size),
  type: Uint16Array.from(data.files.type),
  verdict: Uint8Array.from(data.files.verdict, Number),
  why: Uint32Array.from(data.files.why),
};
data.files.start.reduce((before, step, file) => (files.start[file] = before + step), 0);

// What few files have is kept by number of the file.
const fieldOf = (name, file) => data.files[name]?.[file];

const extensionOf = (file) => data.types[files.type[file]][0];
const typeNameOf = (file) => data.types[files.type[file]][1];
const whyOf = (file) => data.whys[files.why[file]];
const takenOf = (file) => fieldOf('taken', file) ?? '';

function pathOf(file) {
  const extension = extensionOf(file);
  return fieldOf('path', file)
    ?? `${extension}/f${String(files.start[file]).padStart(10, '0')}.${extension}`;
}

function nameOf(file) {
  const path = fieldOf('original', file) ?? pathOf(file);
  return path.slice(path.lastIndexOf('/') + 1) || path;
}

// Base64 without its padding: 43 characters a file, blank where there is no hash.
const HashLength = 43;
let hashes;
function hashOf(file) {
  hashes ??= document.getElementById('hashes').textContent;
  const text = hashes.slice(file * HashLength, (file + 1) * HashLength);
  return text.trim() && Array.from(atob(text), (c) => c.charCodeAt(0).toString(16).padStart(2, '0')).join('');
}

// Stretches of the medium as [first sector, bytes].
const extentsOf = (file) => fieldOf('extents', file) ?? [[files.start[file], files.size[file]]];

function address(path) {
  const parts = path.split('/');
  // A report that was tampered with leads nowhere else.
  return parts.some((part) => part === '' || part === '.' || part === '..')
    ? null : parts.map(encodeURIComponent).join('/');
}

// What the browser shows or plays.
const shown = new Set('jpg png gif bmp webp ico'.split(' '));
const played = { mp4: 'video', m4v: 'video', mov: 'video', '3gp': 'video', webm: 'video', mkv: 'video',
  mp3: 'audio', m4a: 'audio', wav: 'audio', ogg: 'audio' };
// What may be opened by itself: nothing in which a browser runs scripts, or which it may take for a page.
const opened = new Set([...shown, ...Object.keys(played), ...('pdf txt tif psd doc docx xls xlsx ppt pptx vsd mpp pub odt '
  + 'ods odp odg odf zip 7z rar cab avi wmv flv wma').split(' ')]);

// Larger ones take a browser seconds and gigabytes.
const MostPixels = 120e6;
const MostThumbnailBytes = 48 * 2 ** 20;
const pixelsOf = (file) => (fieldOf('width', file) ?? 0) * (fieldOf('height', file) ?? 0);
const isSmallEnough = (file) => pixelsOf(file) <= MostPixels && files.size[file] <= MostThumbnailBytes;
// Where the picture of a file is to be had: the file itself or a preview that was taken out of it.
function pictureOf(file) {
  const preview = fieldOf('preview', file);
  return preview ?? (shown.has(extensionOf(file)) && isSmallEnough(file) ? pathOf(file) : null);
}

const filter = { group: -1, verdicts: new Set(), type: -1, text: '', minSize: 0, maxSize: Infinity, takenFrom: '',
  takenTo: '', place: null };

const overlaps = ([start, bytes], [first, end]) =>
  start < end && start + Math.max(1, Math.ceil(bytes / data.sectorSize)) > first;

// A test of all but the group, which is counted apart.
function makeTest() {
  const words = filter.text.toLowerCase().split(/\s+/).filter(Boolean);
  const has = (texts, word) => texts.map((text) => text.toLowerCase().includes(word));
  const inType = words.map((word) => has(data.types.map(([extension, name]) => `${extension} ${name}`), word));
  const inWhy = words.map((word) => has(data.whys, word));
  const inFile = (file, word) => pathOf(file).toLowerCase().includes(word)
    || ['original', 'title', 'camera'].some((name) => fieldOf(name, file)?.toLowerCase().includes(word))
    || (word.length >= 8 && hashOf(file).startsWith(word));
  return (file) => {
    const size = files.size[file];
    if (size < filter.minSize || size > filter.maxSize
      || (filter.verdicts.size > 0 && !filter.verdicts.has(files.verdict[file]))
      || (filter.type >= 0 && files.type[file] !== filter.type)) {
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

// The files that the filter lets through, and how many there are of each group and verdict.
function selectFiles() {
  const test = makeTest();
  const chosen = new Uint32Array(files.count);
  const byGroup = new Array(groupNames.length).fill(0);
  let count = 0;
  let bytes = 0;
  for (let file = 0; file < files.count; ++file) {
    if (test(file)) {
      const group = groupOfType[files.type[file]];
      ++byGroup[group];
      if (filter.group < 0 || filter.group === group) {
        chosen[count++] = file;
        bytes += files.size[file];
      }
    }
  }
  return { order: chosen.subarray(0, count), bytes, byGroup };
}

const sorts = {
  place: ['Place', (a, b) => files.start[a] - files.start[b]],
  name: ['Name', null, nameOf],
  type: ['Type', (a, b) => extensionOf(a).localeCompare(extensionOf(b))],
  verdict: ['Verdict', (a, b) => files.verdict[a] - files.verdict[b]],
  size: ['Size', (a, b) => files.size[a] - files.size[b]],
  taken: ['Date taken', null, takenOf],
};

function sortFiles(order, key, isDescending) {
  const [, ownCompare, textOf] = sorts[key];
  let compare = ownCompare;
  if (textOf) {
    const texts = new Map(Array.from(order, (file) => [file, textOf(file)]));
    compare = (a, b) => (texts.get(a) < texts.get(b) ? -1 : Number(texts.get(a) > texts.get(b)));
  }
  const sign = isDescending ? -1 : 1;
  return order.sort((a, b) => sign * compare(a, b) || a - b);
}
