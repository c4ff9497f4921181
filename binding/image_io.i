// ImageReader, ImageWriter and the writers' parameter records.

%thread plox::ipl::ImageReader::Read;
%thread plox::ipl::ImageWriter::WriteAsBMP;
%thread plox::ipl::ImageWriter::WriteAsRAW;
%thread plox::ipl::ImageWriter::Write;

// The two-argument forms write with the default parameter record, under the same Python name.
// Their functions are written here rather than generated, so that the overload message names
// them plox_ipl_ImageWriter_WriteAsPNG__SWIG_0 (and JPG) whatever their place among the overloads.
%{
static void plox_ipl_ImageWriter_WriteAsPNG__SWIG_0(const std::string& filePath, const plox::ipl::Image& imageToSave) {
    plox::ipl::ImageWriter::WriteAsPNG(filePath, imageToSave, plox::ipl::ImageWriterPNGParameter());
}
static void plox_ipl_ImageWriter_WriteAsJPG__SWIG_0(const std::string& filePath, const plox::ipl::Image& imageToSave) {
    plox::ipl::ImageWriter::WriteAsJPG(filePath, imageToSave, plox::ipl::ImageWriterJPEGParameter());
}
%}
%rename(WriteAsPNG) plox::ipl::ImageWriter::WriteAsPNG__SWIG_0;
%rename(WriteAsJPG) plox::ipl::ImageWriter::WriteAsJPG__SWIG_0;
%extend plox::ipl::ImageWriter {
    /**
     * \brief Writes a PNG file with the default parameter (Quality 100).
     * \param filePath The path of the file
     * \param imageToSave The image
     * \since 1.9.2
     */
    static void WriteAsPNG__SWIG_0(const std::string& filePath, const plox::ipl::Image& imageToSave);
    /**
     * \brief Writes a JPEG file with the default parameter (Quality 75).
     * \param filePath The path of the file
     * \param imageToSave The image
     * \since 1.9.2
     */
    static void WriteAsJPG__SWIG_0(const std::string& filePath, const plox::ipl::Image& imageToSave);
}

%include "ipl/ImageReader.h"
%include "ipl/ImageWriter.h"
