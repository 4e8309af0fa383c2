// What is set, as the address's fragment, the command's options and Python's arguments have it.
'use strict';

const DEFAULTS = {
  format: 'Mono8', bigEndian: false, videoRange: false,
  width: 640, height: 480, whole: true, stride: 0, skip: 0, gap: 0, index: 0,
  demosaic: 1, rotation: 0, flipHorizontal: false, flipVertical: false,
  black: 0, white: 0, red: 1, green: 1, blue: 1, gamma: 1,
};
const METHODS = ['nearest', 'bilinear', 'adaptive'];
const LEVELS = ['black', 'white', 'red', 'green', 'blue', 'gamma'];

// In the fragment each setting has its name; those that are as usual are left out.
function toFragment(settings, fileName) {
  const parameters = new URLSearchParams();
  for (const [name, usual] of Object.entries(DEFAULTS)) {
    const value = settings[name];
    const isSize = ['format', 'width', 'height'].includes(name);
    if (isSize || value !== usual) parameters.set(name, typeof value === 'boolean' ? Number(value) : value);
  }
  if (fileName) parameters.set('file', fileName);
  return '#' + parameters;
}

// The settings that a fragment names; anything else in it is left alone.
function fromFragment(fragment) {
  const parameters = new URLSearchParams(fragment.replace(/^#/, ''));
  const settings = {};
  for (const [name, usual] of Object.entries(DEFAULTS)) {
    const text = parameters.get(name);
    if (text === null || text === '') continue;
    if (typeof usual === 'string') settings[name] = text;
    else if (typeof usual === 'boolean') settings[name] = text === '1';
    else if (Number.isFinite(Number(text))) settings[name] = Number(text);
  }
  if ('height' in settings && !('whole' in settings)) settings.whole = false;
  return { settings, file: parameters.get('file') || '' };
}

const frameOf = (settings, format) => ({
  code: format.code,
  flags: (settings.bigEndian ? 1 : 0) | (settings.videoRange ? 2 : 0),
  width: settings.width, height: settings.height, stride: settings.stride,
  skip: settings.skip, gap: settings.gap, index: settings.index,
});

const lookOf = (settings) => ({
  demosaic: settings.demosaic, rotation: settings.rotation,
  flip: (settings.flipHorizontal ? 4 : 0) | (settings.flipVertical ? 8 : 0),
  ...Object.fromEntries(LEVELS.map((name) => [name, settings[name]])),
});

const shellWord = (text) => (/^[\w@%+=:,./-]+$/.test(text) && !text.startsWith('-') ? text
  : "'" + (text.startsWith('-') ? './' : '') + text.replaceAll("'", "'\\''") + "'");

// Both flips are half a turn: the command has one flip.
function turnOf(settings) {
  const both = settings.flipHorizontal && settings.flipVertical;
  return {
    rotate: (settings.rotation + (both ? 180 : 0)) % 360,
    flip: both ? '' : settings.flipHorizontal ? 'horizontal' : settings.flipVertical ? 'vertical' : '',
  };
}

const gainsOf = ({ red, green, blue }) => (red === green && green === blue ? [green] : [red, green, blue]);

function commandLine(settings, format, fileName) {
  const words = ['imgcnv', 'convert', shellWord(fileName), '-f', format.name, '-s', `${settings.width}x${settings.height}`];
  const add = (option, value, usual) => { if (value !== usual) words.push(option, String(value)); };
  add('--stride', settings.stride, 0);
  add('--skip', settings.skip, 0);
  add('--gap', settings.gap, 0);
  if (settings.bigEndian) words.push('--big-endian');
  if (settings.videoRange) words.push('--range', 'video');
  if (format.layout !== 14) words.push('--frames', String(settings.index));
  if (format.order !== 0) add('-m', METHODS[settings.demosaic], 'bilinear');
  const { rotate, flip } = turnOf(settings);
  add('--rotate', rotate, 0);
  add('--flip', flip.slice(0, 1), '');
  add('--black', settings.black, 0);
  add('--white', settings.white, 0);
  add('--gain', gainsOf(settings).join(','), '1');
  add('--gamma', settings.gamma, 1);
  words.push('-o', 'picture.png');
  return words.join(' ');
}

function pythonLine(settings, format, fileName, offset, length) {
  const text = JSON.stringify;
  const words = [`numpy.fromfile(${text(fileName)}, "uint8", ${length}, offset=${offset})`,
    settings.width, settings.height, text(format.name)];
  const add = (name, value, usual) => { if (value !== usual) words.push(`${name}=${value}`); };
  words.push(`to=${text(format.isColor ? 'rgb24' : 'mono8')}`);
  if (format.order !== 0) add('demosaic', text(METHODS[settings.demosaic]), '"bilinear"');
  add('stride', settings.stride, 0);
  if (settings.bigEndian) words.push('big_endian=True');
  if (settings.videoRange) words.push('video_range=True');
  const { rotate, flip } = turnOf(settings);
  add('rotate', rotate, 0);
  add('flip', text(flip), '""');
  const { black, white, red, green, blue, gamma } = settings;
  const levels = `imgcnv.Levels(${black}, ${white}, (${red}, ${green}, ${blue}), ${gamma})`;
  add('levels', levels, 'imgcnv.Levels(0, 0, (1, 1, 1), 1)');
  return `picture = imgcnv.convert(${words.join(', ')})`;
}
