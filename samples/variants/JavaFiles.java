import java.awt.image.BufferedImage;
import java.io.*;
import java.nio.file.*;
import java.util.Random;
import javax.imageio.*;
import javax.imageio.stream.ImageOutputStream;
import javax.sound.midi.*;
import javax.sound.sampled.*;

/** Files as Java's own library and Debian's Java libraries write them: JavaFiles FOLDER makes FOLDER/NAME.EXT. */
public class JavaFiles {
    interface Writer { void write(OutputStream out) throws Exception; }

    static Path folder;

    static void make(String name, Writer writer) {
        Path path = folder.resolve(name);
        try (OutputStream out = new BufferedOutputStream(Files.newOutputStream(path))) {
            writer.write(out);
        } catch (Throwable why) {
            System.err.println(name + ": " + why);
            path.toFile().delete();
        }
    }

    static byte[] noise(int size, int seed) {
        byte[] bytes = new byte[size];
        new Random(seed).nextBytes(bytes);
        return bytes;
    }

    static BufferedImage picture(int kind) {
        BufferedImage image = new BufferedImage(200, 150, kind);
        for (int y = 0; y < 150; ++y)
            for (int x = 0; x < 200; ++x) image.setRGB(x, y, 0xFF000000 | x * y * 31 & 0xFFFFFF);
        return image;
    }

    static void pictures() throws Exception {
        int[] kinds = {BufferedImage.TYPE_INT_RGB, BufferedImage.TYPE_BYTE_GRAY, BufferedImage.TYPE_BYTE_INDEXED,
                       BufferedImage.TYPE_BYTE_BINARY, BufferedImage.TYPE_INT_ARGB, BufferedImage.TYPE_USHORT_565_RGB};
        for (String form : new String[] {"jpg", "png", "gif", "bmp", "tif"})
            for (int kind : kinds)
                make("java-" + kind + "." + form, out -> {
                    if (!ImageIO.write(picture(kind), form, out)) throw new IOException("not this kind");
                });
        ImageWriter tiff = ImageIO.getImageWritersByFormatName("tif").next();
        for (String compression : tiff.getDefaultWriteParam().getCompressionTypes())
            make("java-" + compression.replaceAll("\\W", "-") + ".tif", out -> {
                ImageWriteParam options = tiff.getDefaultWriteParam();
                options.setCompressionMode(ImageWriteParam.MODE_EXPLICIT);
                options.setCompressionType(compression);
                int kind = compression.startsWith("CCITT") ? BufferedImage.TYPE_BYTE_BINARY : BufferedImage.TYPE_INT_RGB;
                try (ImageOutputStream stream = ImageIO.createImageOutputStream(out)) {
                    tiff.setOutput(stream);
                    tiff.prepareWriteSequence(null);
                    for (int n = 0; n < 3; ++n) tiff.writeToSequence(new IIOImage(picture(kind), null, null), options);
                    tiff.endWriteSequence();
                }
            });
    }

    static void sounds() throws Exception {
        for (AudioFileFormat.Type type : new AudioFileFormat.Type[] {AudioFileFormat.Type.WAVE, AudioFileFormat.Type.AU,
                                                                     AudioFileFormat.Type.AIFF})
            for (int bits : new int[] {8, 16, 24})
                make("java-" + bits + "." + type.getExtension(), out -> {
                    AudioFormat format = new AudioFormat(8000, bits, 1, bits != 8 || type != AudioFileFormat.Type.WAVE,
                                                         type != AudioFileFormat.Type.WAVE);
                    AudioSystem.write(new AudioInputStream(new ByteArrayInputStream(noise(12003, bits)), format, 12003 * 8 / bits),
                                      type, out);
                });
        for (int type = 0; type < 2; ++type) {
            int kind = type;
            make("java-" + type + ".mid", out -> {
                Sequence song = new Sequence(Sequence.PPQ, 96, 1 + kind * 4);
                for (Track track : song.getTracks())
                    for (int n = 0; n < 200; ++n) track.add(new MidiEvent(new ShortMessage(0x90, 0, 40 + n % 40, 64), n * 13));
                MidiSystem.write(song, kind, out);
            });
        }
    }

    static void sheets() throws Exception {
        for (int rows : new int[] {3, 900, 9000}) {
            make("poi-" + rows + ".xls", out -> {
                var book = new org.apache.poi.hssf.usermodel.HSSFWorkbook();
                for (int n = 0; n < 3; ++n) {
                    var sheet = book.createSheet("T" + n);
                    for (int r = 0; r < rows; ++r) {
                        var row = sheet.createRow(r);
                        row.createCell(0).setCellValue("words " + r * 7 % 1000);
                        row.createCell(1).setCellValue(r / 3.0);
                        row.createCell(2).setCellFormula("B" + (r + 1) + "*2");
                    }
                }
                book.addPicture(Files.readAllBytes(folder.resolve("java-1.png")), org.apache.poi.ss.usermodel.Workbook.PICTURE_TYPE_PNG);
                book.write(out);
            });
        }
    }

    static void papers() throws Exception {
        for (int slides : new int[] {1, 30})
            make("poi-" + slides + ".ppt", out -> {
                var show = new org.apache.poi.hslf.usermodel.HSLFSlideShow();
                var data = show.addPicture(Files.readAllBytes(folder.resolve("java-1.png")),
                                           org.apache.poi.sl.usermodel.PictureData.PictureType.PNG);
                for (int n = 0; n < slides; ++n) {
                    var slide = show.createSlide();
                    slide.addTitle().setText("words " + n);
                    slide.createPicture(data);
                }
                show.write(out);
            });
        for (int size : new int[] {1, 4096, 70000, 9000000})
            make("poi-" + size + ".ole", out -> {
                var files = new org.apache.poi.poifs.filesystem.POIFSFileSystem();
                files.createDocument(new ByteArrayInputStream(noise(size, 3)), "Stream");
                files.createDirectory("Folder").createDocument("Small", new ByteArrayInputStream(noise(99, 4)));
                files.writeFilesystem(out);
            });
        make("pdfbox.pdf", out -> {
            var paper = new org.apache.pdfbox.pdmodel.PDDocument();
            for (int n = 0; n < 9; ++n) {
                var page = new org.apache.pdfbox.pdmodel.PDPage();
                paper.addPage(page);
                try (var content = new org.apache.pdfbox.pdmodel.PDPageContentStream(paper, page)) {
                    content.drawImage(org.apache.pdfbox.pdmodel.graphics.image.LosslessFactory.createFromImage(paper, picture(1)), 9, 9);
                }
            }
            paper.save(out);
        });
        for (int way = 0; way < 3; ++way) {
            int kind = way;
            make("itext-" + way + ".pdf", out -> {
                var paper = new com.itextpdf.text.Document();
                var writer = com.itextpdf.text.pdf.PdfWriter.getInstance(paper, out);
                if (kind == 1) writer.setFullCompression();
                if (kind == 2) writer.setPdfVersion(com.itextpdf.text.pdf.PdfWriter.VERSION_1_2);
                paper.open();
                for (int n = 0; n < 400; ++n) paper.add(new com.itextpdf.text.Paragraph("many words " + n));
                paper.close();
            });
        }
    }

    static void archives() throws Exception {
        make("java.zip", out -> {
            var zip = new java.util.zip.ZipOutputStream(out);
            for (int n = 0; n < 9; ++n) {
                zip.putNextEntry(new java.util.zip.ZipEntry("folder/" + n));
                zip.write(noise(n * 1000, n));
            }
            zip.finish();
        });
        for (boolean large : new boolean[] {false, true})
            make("commons-" + (large ? "zip64" : "piped") + ".zip", out -> {
                var zip = new org.apache.commons.compress.archivers.zip.ZipArchiveOutputStream(out);
                zip.setUseZip64(large ? org.apache.commons.compress.archivers.zip.Zip64Mode.Always
                                      : org.apache.commons.compress.archivers.zip.Zip64Mode.AsNeeded);
                for (int n = 0; n < 9; ++n) {
                    zip.putArchiveEntry(new org.apache.commons.compress.archivers.zip.ZipArchiveEntry("folder/" + n));
                    zip.write(noise(n * 1000, n));
                    zip.closeArchiveEntry();
                }
                zip.setComment("a comment");
                zip.finish();
            });
        for (var method : new org.apache.commons.compress.archivers.sevenz.SevenZMethod[] {
                 org.apache.commons.compress.archivers.sevenz.SevenZMethod.LZMA2, org.apache.commons.compress.archivers.sevenz.SevenZMethod.COPY,
                 org.apache.commons.compress.archivers.sevenz.SevenZMethod.DEFLATE, org.apache.commons.compress.archivers.sevenz.SevenZMethod.BZIP2}) {
            String name = "commons-" + method + ".7z";
            try (var pack = new org.apache.commons.compress.archivers.sevenz.SevenZOutputFile(folder.resolve(name).toFile())) {
                pack.setContentCompression(method);
                for (int n = 0; n < 5; ++n) {
                    var entry = new org.apache.commons.compress.archivers.sevenz.SevenZArchiveEntry();
                    entry.setName("folder/" + n);
                    pack.putArchiveEntry(entry);
                    pack.write(noise(n * 900, n));
                    pack.closeArchiveEntry();
                }
            } catch (Throwable why) {
                System.err.println(name + ": " + why);
                folder.resolve(name).toFile().delete();
            }
        }
    }

    public static void main(String[] arguments) throws Exception {
        folder = Path.of(arguments[0]);
        Files.createDirectories(folder);
        pictures();
        sounds();
        sheets();
        papers();
        archives();
    }
}
