// ImageReader, ImageWriter and the writers' parameter records.

%thread plox::ipl::ImageReader::Read;
%thread plox::ipl::ImageWriter::WriteAsBMP;
%thread plox::ipl::ImageWriter::WriteAsRAW;
%thread plox::ipl::ImageWriter::Write;

// The two-argument forms write with the default parameter record, under the same Python name.
%extend plox::ipl::ImageWriter {
    /**
     * \brief Writes a PNG file with the default parameter (Quality 100).
     * \param filePath The path of the file
     * \param imageToSave The image
     */
    static void WriteAsPNG(const std::string& filePath, const plox::ipl::Image& imageToSave) {
        plox::ipl::ImageWriter::WriteAsPNG(filePath, imageToSave, plox::ipl::ImageWriterPNGParameter());
    }
    /**
     * \brief Writes a JPEG file with the default parameter (Quality 75).
     * \param filePath The path of the file
     * \param imageToSave The image
     */
    static void WriteAsJPG(const std::string& filePath, const plox::ipl::Image& imageToSave) {
        plox::ipl::ImageWriter::WriteAsJPG(filePath, imageToSave, plox::ipl::ImageWriterJPEGParameter());
    }
}

%include "ipl/ImageReader.h"
%include "ipl/ImageWriter.h"
