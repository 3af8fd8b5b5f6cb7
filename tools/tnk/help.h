// What --help tells below the options.
#pragma once

namespace tool {

inline constexpr const char* kExamples =
    "Examples:\n"
    "  tnk info photo.jpg\n"
    "  tnk convert photo.jpg photo.png --bits 8\n"
    "  tnk convert photo.jpg fax.bmp --bits 1 --dither stucki\n"
    "  tnk convert photo.jpg photo.png --bits 4 --palette optimized\n"
    "  tnk pages scan1.png scan2.png --out page-{page}.png --gray 8\n"
    "  tnk count photo.jpg\n"
    "  tnk palette photo.jpg photo.gpl --colors 32\n"
    "  tnk combine photo.jpg logo.png marked.png --at 20,20\n"
    "  tnk compare before.png after.png\n"
    "\n"
    "Exit codes: 0 done, 1 a file or a conversion failed, 2 wrong usage, 130 stopped by Ctrl-C; compare has its own.";

inline constexpr const char* kInfoExamples =
    "With --json: file, format, pages, page, width, height (as stored), orientation (1-8 as in EXIF, or null), "
    "seenWidth,\n"
    "seenHeight, bitsPerPixel, channels (names), bitsPerChannel, resolution (x, y in dots per inch, or null), palette\n"
    "(colors, kind; or null), colorsInUse, metadata (exifBytes, profileBytes, xmpBytes, texts (key, text), gamma), "
    "and\n"
    "bitmap (bitsPerPixel, order, bytesPerRow, memory, bytes, tiles). Of a file that fails: file, error; the exit code "
    "is "
    "1.\n"
    "\n"
    "Examples:\n"
    "  tnk info photo.jpg\n"
    "  tnk info *.png\n"
    "  tnk info *.png --json\n"
    "  tnk info photo.jpg --memory tiled                         what it takes in tiles";

inline constexpr const char* kCountExamples =
    "Alpha does not count; of channels of 16 bits the high bytes count, grays of 16 bits as they are.\n"
    "\n"
    "Examples:\n"
    "  tnk count photo.jpg\n"
    "  tnk count *.png";

inline constexpr const char* kPaletteExamples =
    "The palette that a palette file or a picture with a palette has; the optimized one of other pictures, and where\n"
    "--colors is less than a picture's palette has. Of a palette file --colors N takes the first N.\n"
    "Whatever is written here can be read back by --palette.\n"
    "\n"
    "Examples:\n"
    "  tnk palette photo.jpg photo.gpl --colors 32\n"
    "  tnk palette photo.jpg swatches.png\n"
    "  tnk palette brand.gpl brand.act";

inline constexpr const char* kAlphaExamples =
    "White is opaque, black transparent. tnk convert IN OUT --alpha MASK puts a mask back.\n"
    "\n"
    "Examples:\n"
    "  tnk alpha logo.png --out mask.png";

inline constexpr const char* kCombineExamples =
    "The modes: copy, not, and, or, xor (of the bits); add, subtract, difference, multiply, average, minimum, maximum "
    "(of\n"
    "the values); alpha (the default: B over A by B's alpha).\n"
    "The result has A's size and depth; grays become colours when B has colours. Two pictures of the same palette keep "
    "it.\n"
    "Without --channels alpha takes part in copy and alpha only.\n"
    "\n"
    "Examples:\n"
    "  tnk combine photo.jpg logo.png marked.png --at 20,20\n"
    "  tnk combine before.png after.png change.png --mode difference\n"
    "  tnk combine page.png stamp.png both.png --mode multiply --at 100,900\n"
    "  tnk combine photo.png light.png red.png --mode add --channels R";

inline constexpr const char* kWarpExamples =
    "Corners are four points in order around a convex shape, X,Y each, in pixels as seen; (0,0) is the top left corner "
    "of\n"
    "the picture. The first of --from goes to the first of --to, and so on.\n"
    "\n"
    "Examples:\n"
    "  tnk warp desk.jpg page.png --from 212,98,1530,140,1602,1980,131,1921 --size 1240x1754\n"
    "  tnk warp photo.jpg tilted.png --to 0,0,640,80,640,400,0,480 --background black";

inline constexpr const char* kScrambleExamples =
    "The same command again brings the pixels back. It hides what is there from passers-by and does not encrypt it.\n"
    "\n"
    "Examples:\n"
    "  tnk scramble team.jpg hidden.png --rect 320,120,90,110 --key 4711\n"
    "  tnk scramble hidden.png team.png --rect 320,120,90,110 --key 4711";

inline constexpr const char* kCompareExamples =
    "Pictures are compared as they are seen, in channels of 8 bits, or of 16 where one of them has more than 8:\n"
    "differences are in these units. Grays count as colours where the other picture has colours, and pictures without\n"
    "alpha as opaque. Positions count from 0,0 at the top left. Files of several pages are compared page by page.\n"
    "\n"
    "With --json: page, a and b (file, width, height, bitsPerPixel, channels (names), bitsPerChannel), tolerance, "
    "equal;\n"
    "where the sizes are the same also bits (8 or 16), pixels, pixelsDifferent, first (x, y, or null), and "
    "differences,\n"
    "each with name, largest and mean. A page that one of the files lacks: page, a and b (file, or null), equal.\n"
    "\n"
    "Exit codes: 0 equal, 1 different, 2 a file failed or wrong usage, 130 stopped by Ctrl-C.\n"
    "\n"
    "Examples:\n"
    "  tnk compare before.png after.png\n"
    "  tnk compare photo.jpg photo.png --tolerance 3\n"
    "  tnk compare a.png b.bmp --json";

inline constexpr const char* kPlanesExamples =
    "Plane 0 is the least bit of a gray. A plane is a picture of 1 bit, white where the bit is set; of a picture that "
    "is\n"
    "put in, pixels lighter than middle gray are. It has the size of the whole picture.\n"
    "\n"
    "Examples:\n"
    "  tnk planes scan.png --out plane-{plane}.png               all of them\n"
    "  tnk planes photo.jpg --gray 8 --out top.png --planes 7\n"
    "  tnk planes scan.png --out marked.png --put 0=mark.png\n"
    "  tnk planes scan.png --out both.png --put 0=a.png --put 1=b.png";

// Of the commands that make pictures.
inline constexpr const char* kNotes =
    "A picture is brought upright first, if its file says how it lies (but for --keep-view), then cropped, then "
    "turned,\n"
    "sized and so on in the order of the command line, any number of times, then made gray, then reduced.\n"
    "Without --bits its depth stays.\n"
    "Without --filter colours and grays are blended (linear; areas where a dimension shrinks). Pictures that keep "
    "their\n"
    "palette take the nearest pixel, and those of 1 bit that shrink keep every black one: --filter nearest drops thin\n"
    "lines, linear and bicubic dither (in sizes). A result that is --gray or has more --bits blends.\n"
    "With --background pictures with alpha are laid over it (after --alpha and the crop) and have none from then on.\n"
    "What turns bring in has the background's colour, matched with a palette that stays; where a picture has alpha it "
    "is\n"
    "transparent.\n"
    "The palette of a picture stays where it has room at --bits, unless --palette or --colors asks for another.\n"
    "A crop takes what lies inside the picture; one that lies outside altogether is a failure.\n"
    "Dithering methods: none, floyd-steinberg, stucki, burkes, sierra, stevenson-arce, jarvis, ordered, clustered.\n"
    "--threshold takes gray levels as 2 parts red, 5 green, 1 blue; auto parts dark from light where they differ most\n"
    "(Otsu, 1979), for each picture; --verbose tells the level.\n"
    "PNG keeps palettes of 1, 2, 4 and 8 bits, TIFF and BMP of 1, 4 and 8; other depths take the next that fits. JPEG\n"
    "holds grays of 8 and colours of 24 bits. The name - is standard input, and with --to standard output.\n"
    "Alpha is kept at 32 and 64 bits, and in a palette that goes from PNG to PNG without --bits; elsewhere the "
    "colours\n"
    "stay and the alpha goes.\n"
    "Profiles, EXIF data, XMP and texts go along where the format has a place for them and the colours are still "
    "those\n"
    "of the profile; a note tells what does not, unless --strip asks for that.\n"
    "BMP is read with headers of OS/2 and Windows, run-length coded (RLE8, RLE4), with masks, coded as YVU9, IF09,\n"
    "I420, IYUV, YV12, UYVY, cyuv, YUY2, YVYU, Y42T, Y41P, Y41T or Y211, or as JPEG (which needs the module "
    "TFCMP15U).\n"
    "Its alpha counts where a mask names it.\n"
    "The files are the same whatever --memory says: compressed holds results of 1 bit, super pictures of 8 and 24 and\n"
    "results of 1, 8 and 24 bits (and needs the module TFCMP15U); tiled keeps 2 MB of each in memory.\n"
    "\n";

inline constexpr const char* kConvertExamples =
    "Examples:\n"
    "  tnk convert photo.jpg small.png --bits 8                  256 colours, Floyd-Steinberg\n"
    "  tnk convert photo.jpg web.png --bits 8 --palette web --dither ordered\n"
    "  tnk convert photo.jpg logo.bmp --bits 4 --palette brand.gpl\n"
    "  tnk convert photo.jpg best.png --bits 8 --palette optimized --colors 64\n"
    "  tnk convert photo.jpg print.png --bits 1 --dither clustered\n"
    "  tnk convert scan.jpg page.png --bits 1 --threshold auto   black ink on white paper\n"
    "  tnk convert photo.jpg part.png --crop 100,50,640,480\n"
    "  tnk convert photo.jpg small.png --rotate 90 --fit 800x600\n"
    "  tnk convert scan.png straight.png --rotate -1.25 --keep-size --filter bicubic\n"
    "  tnk convert fax.png small.png --size 25% --gray 8         grays instead of lost lines\n"
    "  tnk convert scan.png gray.png --gray 16\n"
    "  tnk convert photo.jpg ink.png --gray 8 --bits 2           four grays, dithered\n"
    "  tnk convert photo.jpg cut.png --alpha mask.png            white stays, black is transparent\n"
    "  tnk convert logo.png flat.png --background white          no alpha any more\n"
    "  tnk convert old.bmp new.bmp --bmp-header v5\n"
    "  tnk convert photo.jpg photo-{bits}-{dither}.png --bits 1,2,4,8 --dither all\n"
    "  tnk convert photo.jpg photo.png --keep                    only if photo.png is not there yet";

inline constexpr const char* kPagesExamples =
    "Each result appears when it is written; a picture that fails is told, the others are made, and the exit code is "
    "1.\n"
    "With --shared-palette results appear when all of them are written: a picture that fails leaves none behind.\n"
    "{page} counts the results, with leading zeros; names that two pictures would share are refused before any work.\n"
    "At most --jobs pictures are in memory at a time, with --shared-palette all of them.\n"
    "\n"
    "Examples:\n"
    "  tnk pages *.jpg --out small/{name}.png --fit 800x600      names stay, in a folder that is there\n"
    "  tnk pages *.jpg --out {name}.png --jobs 2 --keep          only those that are not there yet\n"
    "  tnk pages scan*.png --out page-{page}.png --bits 1 --dither none\n"
    "  tnk pages a.jpg b.jpg c.jpg --out {page}-{bits}.png --bits 1,8 --select 3,1-2\n"
    "  tnk pages frame*.png --out {page}.png --bits 8 --palette optimized --shared-palette";

}  // namespace tool
